// Tests of the bundled registry's report descriptors: sizes that disagree with the devices' Max properties, lost layouts.
#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "hid/report_descriptor.hpp"
#include "support/sim_test.hpp"

#include <boost/system/error_code.hpp>

#include <algorithm>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::device;
using plinth::apple::device_match;
using plinth::apple::find_devices;
using plinth::apple::hid_report_descriptor;
using plinth::apple::hid_report_type;
using plinth::apple::hid_usage;

class bundled_descriptors : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        sim::load_bundled_registry();
    }

    static hid_report_descriptor descriptor_of(device const& d)
    {
        auto const value = d.get_property_value("ReportDescriptor");
        auto const* bytes = std::get_if<plinth::property::data>(&value.content);
        if (!bytes)
        {
            ADD_FAILURE() << d.get_name() << ": ReportDescriptor is not data";
            return {};
        }
        return hid_report_descriptor::parse(*bytes);
    }

    static std::size_t number(device const& d, char const* key)
    {
        return static_cast<std::size_t>(mpark::get<int>(d.get_property(key)));
    }

    static device the_one(device_match const& match)
    {
        auto found = find_devices(match);
        EXPECT_EQ(found.size(), 1u);
        return found.empty() ? device() : found.front();
    }
};

TEST_F(bundled_descriptors, every_hid_device_publishes_the_sizes_its_descriptor_gives)
{
    auto const devices = find_devices(device_match("IOHIDDevice"));
    ASSERT_GE(devices.size(), 7u);
    for (auto const& d : devices)
    {
        auto const product = mpark::get<std::string>(d.get_property("Product"));
        SCOPED_TRACE(product);
        boost::system::error_code ec;
        auto const value = d.get_property_value("ReportDescriptor", ec);
        ASSERT_FALSE(ec) << ec.message();
        auto const* bytes = std::get_if<plinth::property::data>(&value->content);
        ASSERT_TRUE(bytes);
        auto const descriptor = hid_report_descriptor::parse(*bytes, ec);
        ASSERT_FALSE(ec) << ec.message();
        EXPECT_EQ(descriptor.max_report_size(hid_report_type::input), number(d, "MaxInputReportSize"));
        EXPECT_EQ(descriptor.max_report_size(hid_report_type::output), number(d, "MaxOutputReportSize"));
        EXPECT_EQ(descriptor.max_report_size(hid_report_type::feature), number(d, "MaxFeatureReportSize"));
        // Every report ends on a byte boundary: none relies on rounding up.
        for (auto const& report : descriptor.reports())
            EXPECT_EQ(report.bit_size % 8, 0u) << to_string(report.type) << " report " << int(report.id);
        // The device's primary usage is its first top-level collection's.
        ASSERT_FALSE(descriptor.collections().empty());
        auto const& top = descriptor.collections().front();
        EXPECT_EQ(top.usage, (hid_usage{static_cast<std::uint16_t>(number(d, "PrimaryUsagePage")),
                                        static_cast<std::uint16_t>(number(d, "PrimaryUsage"))}));
    }
}

TEST_F(bundled_descriptors, the_game_pad_has_sticks_a_hat_switch_and_twelve_buttons_in_seven_bytes)
{
    auto const descriptor = descriptor_of(the_one(device_match::hid_with_usage(0x01, 0x05)));
    EXPECT_FALSE(descriptor.numbers_reports());
    ASSERT_EQ(descriptor.reports().size(), 1u);
    EXPECT_EQ(descriptor.reports()[0].byte_size(), 7u);

    auto const field_of = [&](hid_usage usage) -> plinth::apple::hid_field const* {
        auto const where = descriptor.find(hid_report_type::input, usage);
        return where ? &descriptor.fields()[where->field] : nullptr;
    };
    std::uint32_t offset = 0;
    for (std::uint16_t const axis : {0x30, 0x31, 0x32, 0x35}) // X, Y, Z, Rz
    {
        auto const* stick = field_of({0x01, axis});
        ASSERT_TRUE(stick) << axis;
        auto const item = descriptor.find(hid_report_type::input, {0x01, axis})->item;
        EXPECT_EQ(stick->bit_offset + item * stick->bit_size, offset) << axis;
        EXPECT_EQ(stick->bit_size, 8u);
        EXPECT_EQ(stick->logical_maximum, 255);
        offset += 8;
    }
    auto const* hat = field_of({0x01, 0x39});
    ASSERT_TRUE(hat);
    EXPECT_EQ(hat->bit_offset, 32u);
    EXPECT_EQ(hat->bit_size, 4u);
    EXPECT_EQ(hat->logical_maximum, 7);
    EXPECT_EQ(hat->physical_maximum, 315);
    EXPECT_EQ(hat->unit, 0x14u);
    EXPECT_TRUE(hat->flags.has_null_state());

    auto const* buttons = field_of({0x09, 1});
    ASSERT_TRUE(buttons);
    EXPECT_EQ(buttons->bit_offset, 40u);
    EXPECT_EQ(buttons->count, 12u);
    EXPECT_EQ(buttons->physical_maximum, 0) << "the hat's physical range does not reach the buttons";
    EXPECT_EQ(buttons->unit, 0u) << "nor its unit";
    EXPECT_EQ(field_of({0x09, 12}), buttons);
    EXPECT_FALSE(field_of({0x09, 13}));
    EXPECT_EQ(std::ranges::count_if(descriptor.fields(), [](auto const& f) { return f.is_padding(); }), 2);

    // Button 12 pressed, hat released (15, outside 0..7), the sticks centred.
    std::vector<std::uint8_t> const report{0x80, 0x80, 0x80, 0x80, 0x0F, 0x00, 0x08};
    EXPECT_EQ(descriptor.value(hid_report_type::input, {0x09, 12}, report), 1);
    EXPECT_EQ(descriptor.value(hid_report_type::input, {0x09, 1}, report), 0);
    EXPECT_EQ(descriptor.value(hid_report_type::input, {0x01, 0x39}, report), 15);
    EXPECT_EQ(descriptor.value(hid_report_type::input, {0x01, 0x35}, report), 0x80);
}

TEST_F(bundled_descriptors, the_vendor_board_numbers_its_64_byte_reports_and_its_feature_report)
{
    auto const board = the_one(device_match("IOHIDDevice", 0x0483, 0x5750));
    auto const descriptor = descriptor_of(board);
    EXPECT_TRUE(descriptor.numbers_reports());
    struct expected_report
    {
        hid_report_type type;
        std::uint8_t id;
        std::size_t bytes;
    };
    for (auto const& [type, id, bytes] :
         {expected_report{hid_report_type::input, 1, 64}, expected_report{hid_report_type::output, 2, 64},
          expected_report{hid_report_type::feature, 3, 8}})
    {
        auto const* report = descriptor.report(type, id);
        ASSERT_TRUE(report) << to_string(type);
        EXPECT_EQ(report->byte_size(), bytes) << to_string(type);
    }
    EXPECT_EQ(descriptor.reports().size(), 3u);
    EXPECT_FALSE(descriptor.report(hid_report_type::input, 0));
}

} // namespace
