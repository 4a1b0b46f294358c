// Tests of device_match: usages taken from the wrong pair, lost listed pairs, malformed keys, unchanged defaults.
#include "device/apple/device_match.hpp"
#include "device/apple/device_class.hpp"
#include "device/device_support.hpp"
#include "io_kit/mach_port.hpp"
#include "support/sim_test.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::device;
using plinth::apple::device_match;
using plinth::testing::find_device;

sim::dictionary usage_pair(int page, int usage)
{
    return {{"DeviceUsagePage", sim::make_number(page)}, {"DeviceUsage", sim::make_number(usage)}};
}

// HID devices built to tell the usage keys apart: a composite keyboard whose second
// pair is on another page than its primary one, a device that lists pairs but has no
// primary usage, and devices whose keys are absent or of the wrong kind.
class device_match_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        keyboard = add("Keyboard", {{"PrimaryUsagePage", sim::make_number(0x01)},
                                    {"PrimaryUsage", sim::make_number(0x06)},
                                    {"VendorID", sim::make_number(0x046d)},
                                    {"DeviceUsagePairs", sim::array{usage_pair(0x01, 0x06), usage_pair(0x0C, 0x01)}}});
        mouse = add("Mouse", {{"PrimaryUsagePage", sim::make_number(0x01)},
                              {"PrimaryUsage", sim::make_number(0x02)},
                              {"VendorID", sim::make_number(0x05ac)},
                              {"DeviceUsagePairs", sim::array{usage_pair(0x01, 0x02)}}});
        listed_only = add("Listed only", {{"DeviceUsagePairs", sim::array{usage_pair(0xFF00, 0x01)}}});
        without_keys = add("Without keys", {{"VendorID", sim::make_number(0x046d)}});
        malformed = add("Malformed", {{"PrimaryUsagePage", std::string("1")},
                                      {"PrimaryUsage", sim::data{0x06}},
                                      {"DeviceUsagePairs", usage_pair(0x01, 0x06)}});
        half_pairs = add("Half pairs",
                         {{"DeviceUsagePairs",
                           sim::array{sim::make_number(1), sim::dictionary{{"DeviceUsagePage", sim::make_number(0x01)}},
                                      sim::dictionary{{"DeviceUsage", sim::make_number(0x05)}}}}});
    }

    static sim::entry_id add(char const* name, sim::dictionary properties)
    {
        return sim::add_entry({"IOHIDDevice", name, {}, std::move(properties)}, sim::root_entry_id);
    }

    // The entries of this fixture that `match` accepts, by name, in the order made.
    std::vector<std::string> accepted(device_match const& match) const
    {
        std::vector<std::string> names;
        for (auto const id : {keyboard, mouse, listed_only, without_keys, malformed, half_pairs})
            if (auto const d = find_device(id); match.accepts(d))
                names.push_back(d.get_name());
        return names;
    }

    static device_match usage_alone(int usage)
    {
        device_match match("IOHIDDevice");
        match.usage = usage;
        return match;
    }

    sim::entry_id keyboard = 0, mouse = 0, listed_only = 0, without_keys = 0, malformed = 0, half_pairs = 0;
};

using names = std::vector<std::string>;

TEST_F(device_match_test, matches_the_primary_usage_or_any_listed_pair)
{
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x01, 0x06)), (names{"Keyboard"}));
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x01, 0x02)), (names{"Mouse"}));
    // The keyboard's second pair, which is not its primary one.
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x0C, 0x01)), (names{"Keyboard"}));
    // A device with listed pairs and no primary usage.
    EXPECT_EQ(accepted(device_match::hid_with_usage(0xFF00, 0x01)), (names{"Listed only"}));
}

TEST_F(device_match_test, takes_the_page_and_the_usage_from_one_pair)
{
    // The keyboard has page 0x01 (primary) and usage 0x01 (its Consumer pair), never together.
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x01, 0x01)), names{});
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x0C, 0x06)), names{});
    // Half pairs: one with a page and no usage, one with a usage and no page.
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x01, 0x05)), names{});
}

TEST_F(device_match_test, a_page_alone_matches_every_usage_on_it_and_a_usage_alone_every_page)
{
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x01)), (names{"Keyboard", "Mouse", "Half pairs"}));
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x0C)), (names{"Keyboard"}));
    EXPECT_EQ(accepted(device_match::hid_with_usage(0x0D)), names{});
    EXPECT_EQ(accepted(usage_alone(0x01)), (names{"Keyboard", "Listed only"}));
    EXPECT_EQ(accepted(usage_alone(0x05)), (names{"Half pairs"}));
}

TEST_F(device_match_test, narrows_by_ids_and_usage_together)
{
    auto match = device_match::hid_with_usage(0x01);
    match.vendor_id = 0x046d;
    EXPECT_EQ(accepted(match), (names{"Keyboard"}));
    match.vendor_id = 0x05ac;
    EXPECT_EQ(accepted(match), (names{"Mouse"}));
}

TEST_F(device_match_test, entries_without_usable_keys_never_match_a_usage_and_always_match_none)
{
    // "Malformed" has its usage as a string, a data and a lone dictionary: none counts.
    for (auto const& match :
         {device_match::hid_with_usage(0x01, 0x06), device_match::hid_with_usage(0x01), usage_alone(0x06)})
    {
        auto const got = accepted(match);
        EXPECT_EQ(std::ranges::count(got, "Without keys"), 0);
        EXPECT_EQ(std::ranges::count(got, "Malformed"), 0);
    }
    // Without a usage asked for, nothing about usages is read: every entry passes.
    EXPECT_EQ(accepted(device_match("IOHIDDevice")).size(), 6u);
    EXPECT_EQ(accepted(device_match()).size(), 6u);
    EXPECT_EQ(device_match::hid_with_usage(0x01).class_name, "IOHIDDevice");
    EXPECT_FALSE(device_match("IOHIDDevice").usage_page);
    EXPECT_FALSE(device_match("IOHIDDevice").usage);
}

TEST_F(device_match_test, an_empty_device_matches_no_usage)
{
    EXPECT_FALSE(device_match::hid_with_usage(0x01).accepts(device()));
    EXPECT_TRUE(device_match().accepts(device()));
}

// On the bundled Mac: the game pad, both keyboards, and the Consumer devices (the
// USB keyboard's second interface and the headset).
class device_match_bundled_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        sim::load_bundled_registry();
    }

    // The products of the HID devices that `match` accepts, in the order IOKit lists them, sorted.
    static std::vector<std::string> accepted_products(device_match const& match)
    {
        using namespace plinth::apple;
        auto services = io_kit::mach_port::master_port_default().io_service_get_matching_services(
            make_matching(device::device_class::hid_device));
        std::vector<std::string> products;
        while (auto object = services.next())
            if (device d{io_kit::io_registry_entry(std::move(object))}; match.accepts(d))
                products.push_back(mpark::get<std::string>(d.get_property("Product")));
        std::ranges::sort(products);
        return products;
    }
};

TEST_F(device_match_bundled_test, finds_the_game_pad_the_keyboards_and_the_consumer_devices)
{
    EXPECT_EQ(accepted_products(device_match::hid_with_usage(0x01, 0x05)), (names{"Dual Action"}));
    EXPECT_EQ(accepted_products(device_match::hid_with_usage(0x01, 0x06)), (names{"Magic Keyboard", "USB Keyboard"}));
    EXPECT_EQ(accepted_products(device_match::hid_with_usage(0x0C, 0x01)), (names{"Headset", "USB Keyboard"}));
    EXPECT_EQ(accepted_products(device_match::hid_with_usage(0x0C)), (names{"Headset", "USB Keyboard"}));
    EXPECT_EQ(accepted_products(device_match::hid_with_usage(0xFF00)), (names{"Custom HID"}));
    EXPECT_EQ(accepted_products(device_match::hid_with_usage(0x01)),
              (names{"Dual Action", "Magic Keyboard", "USB Keyboard", "USB Optical Mouse"}));
    auto logitech_keyboards = device_match::hid_with_usage(0x01, 0x06);
    logitech_keyboards.vendor_id = 0x046d;
    EXPECT_EQ(accepted_products(logitech_keyboards), (names{"USB Keyboard"}));
}

} // namespace
