// hid describe: a descriptor listed item by item with usage names, its reports beside the published sizes, and its faults.
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"
#include "support/threaded_sim_test.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/hid_describe.hpp"
#include "tools/plinth-ioreg/listings/hid_listing.hpp"

#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace tool = plinth::ioreg_tool;

// A wheel mouse: three buttons, five bits of padding, X, Y and wheel of 8 bits (4 bytes).
std::vector<std::uint8_t> const mouse_descriptor{
    0x05, 0x01, 0x09, 0x02, 0xa1, 0x01, 0x09, 0x01, 0xa1, 0x00, 0x05, 0x09, 0x19, 0x01, 0x29, 0x03, 0x15, 0x00,
    0x25, 0x01, 0x95, 0x03, 0x75, 0x01, 0x81, 0x02, 0x95, 0x01, 0x75, 0x05, 0x81, 0x01, 0x05, 0x01, 0x09, 0x30,
    0x09, 0x31, 0x09, 0x38, 0x15, 0x81, 0x25, 0x7f, 0x75, 0x08, 0x95, 0x03, 0x81, 0x06, 0xc0, 0xc0};

class hid_describe_test : public plinth::testing::threaded_sim_test
{
protected:
    sim::entry_id add_hid_device(std::string name, plinth::property::dictionary properties)
    {
        return sim::add_entry({"IOUSBHostHIDDevice", std::move(name), {}, std::move(properties)}, sim::root_entry_id);
    }

    std::string refusal(std::uint64_t id)
    {
        try
        {
            tool::describe_hid_device(id, false);
        }
        catch (tool::tool_error const& e)
        {
            return e.what();
        }
        ADD_FAILURE() << "described";
        return {};
    }
};

std::vector<std::uint64_t> hid_device_ids()
{
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    std::vector<std::uint64_t> ids;
    for (auto const& item : tool::list_hid_devices(registry))
        ids.push_back(item.id);
    return ids;
}

TEST_F(hid_describe_test, lists_each_item_by_name_indented_by_collection_then_the_reports)
{
    auto const mouse = add_hid_device("Mouse", {{"ReportDescriptor", plinth::property::data(mouse_descriptor)},
                                                {"MaxInputReportSize", sim::make_number(4)},
                                                {"MaxOutputReportSize", sim::make_number(0)}});
    auto const text = tool::describe_hid_device(mouse, false);
    for (auto const* line :
         {"Report descriptor: 52 bytes\n", "  0000  05 01             Usage Page (Generic Desktop)\n",
          "  0004  a1 01             Collection (Application)\n", "  0008  a1 00               Collection (Physical)\n",
          "  000c  19 01                 Usage Minimum (Button 1)\n",
          "  001e  81 01                 Input (Constant, Array, Absolute)\n",
          "  0028  15 81                 Logical Minimum (-127)\n",
          "  0030  81 06                 Input (Data, Variable, Relative)\n",
          "  0032  c0                  End Collection\n", "  0033  c0                End Collection\n",
          "Reports:\n  input    id 0       4 bytes\n", "  largest input report: 4 bytes, as MaxInputReportSize says\n",
          "  largest output report: 0 bytes, as MaxOutputReportSize says\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line << "\nin\n" << text;
    EXPECT_EQ(text.find("feature report"), std::string::npos) << "no size published, none compared";
}

TEST_F(hid_describe_test, says_when_the_published_size_disagrees_with_the_descriptor)
{
    auto const mouse = add_hid_device("Mouse", {{"ReportDescriptor", plinth::property::data(mouse_descriptor)},
                                                {"MaxInputReportSize", sim::make_number(5)}});
    EXPECT_NE(tool::describe_hid_device(mouse, false)
                  .find("  largest input report: 4 bytes, but MaxInputReportSize says 5\n"),
              std::string::npos);
    auto const json = nlohmann::json::parse(tool::describe_hid_device(mouse, true));
    EXPECT_EQ(json["report_sizes"]["input"]["largest"], 4);
    EXPECT_EQ(json["report_sizes"]["input"]["published"], 5);
    EXPECT_EQ(json["report_sizes"]["input"]["agrees"], false);
    EXPECT_TRUE(json["report_sizes"]["output"]["published"].is_null());
}

TEST_F(hid_describe_test, json_gives_the_items_collections_fields_and_reports_as_data)
{
    auto const mouse = add_hid_device("Mouse", {{"ReportDescriptor", plinth::property::data(mouse_descriptor)}});
    auto const json = nlohmann::json::parse(tool::describe_hid_device(mouse, true));
    EXPECT_EQ(json["size"], 52);
    ASSERT_EQ(json["items"].size(), 27u);
    EXPECT_EQ(json["items"][12]["item"], "Input");
    EXPECT_EQ(json["items"][12]["depth"], 2);
    ASSERT_EQ(json["collections"].size(), 2u);
    EXPECT_EQ(json["collections"][1]["type"], "Physical");
    EXPECT_EQ(json["collections"][1]["parent"], 0);
    EXPECT_EQ(json["collections"][1]["usage"]["name"], "Pointer");
    ASSERT_EQ(json["fields"].size(), 3u);
    auto const& axes = json["fields"][2];
    EXPECT_EQ(axes["bit_offset"], 8);
    EXPECT_EQ(axes["bit_size"], 8);
    EXPECT_EQ(axes["count"], 3);
    EXPECT_EQ(axes["logical_minimum"], -127);
    EXPECT_EQ(axes["flags"], nlohmann::json({"Data", "Variable", "Relative"}));
    EXPECT_EQ(axes["usages"][2]["first"]["name"], "Wheel");
    EXPECT_EQ(json["reports"], nlohmann::json::parse(R"([{"type":"input","id":0,"size":4}])"));
}

TEST_F(hid_describe_test, a_malformed_descriptor_is_refused_naming_the_byte_and_the_item)
{
    auto const broken = add_hid_device("Broken", {{"ReportDescriptor", plinth::property::data{0x05, 0x01, 0xb4}}});
    EXPECT_EQ(refusal(broken), fmt::format("the report descriptor of {:#x} is malformed: byte 2, item 0xB4 (Pop): "
                                           "Pop without a Push",
                                           broken));
    auto const truncated =
        add_hid_device("Truncated", {{"ReportDescriptor", plinth::property::data{0x05, 0x01, 0x26}}});
    EXPECT_NE(refusal(truncated).find("byte 2, item 0x26 (Logical Maximum)"), std::string::npos);
}

TEST_F(hid_describe_test, a_device_without_a_descriptor_or_an_entry_not_hid_is_refused)
{
    auto const bare = add_hid_device("Bare", {});
    EXPECT_EQ(refusal(bare), fmt::format("{:#x} has no report descriptor", bare));
    auto const text = add_hid_device("Text", {{"ReportDescriptor", std::string("05 01")}});
    EXPECT_EQ(refusal(text), fmt::format("{:#x} has no report descriptor", text));
    auto const not_hid = sim::add_entry({"IOUSBHostDevice", "Not HID"}, sim::root_entry_id);
    EXPECT_EQ(refusal(not_hid), fmt::format("{:#x} is not a HID device", not_hid));
}

// The bundled registry's devices and the legacy PS/2 keyboard and mouse of a real
// Mac's dump: each descriptor lists, and its sizes agree with what the device says.
TEST_F(hid_describe_test, every_hid_device_of_the_bundled_registry_and_a_real_mac_describes_and_agrees)
{
    std::filesystem::path const dump(PLINTH_SHARED_IOREG_DIR "/macos13-intel-hackintosh-ioreg-l.txt");
    bool const have_dump = std::filesystem::is_regular_file(dump);
    for (bool const real_mac : {false, true})
    {
        // The real Mac's dump lies beside the checkout, where there is one.
        if (real_mac && !have_dump)
            GTEST_SKIP() << "no shared dump at " << dump;
        sim::reset_registry();
        if (real_mac)
            sim::load_dump_file(dump.string());
        else
            sim::load_bundled_registry();
        auto const ids = hid_device_ids();
        EXPECT_GE(ids.size(), 2u);
        for (auto const id : ids)
        {
            auto const text = tool::describe_hid_device(id, false);
            EXPECT_NE(text.find("Reports:\n"), std::string::npos) << text;
            EXPECT_EQ(text.find(", but "), std::string::npos) << text;
        }
    }
}

} // namespace
