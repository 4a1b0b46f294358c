// The hid listing, and hid read and write against simulated devices: reports printed, Ctrl-C, removal, an entry not HID.
#include "sim/control/hid.hpp"
#include "support/scratch_folder.hpp"
#include "support/threaded_sim_test.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/hid_command.hpp"
#include "tools/plinth-ioreg/listings/hid_listing.hpp"

#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "device/apple/tree.hpp"
#include "hid/report_descriptor.hpp"
#include "io_kit/mach_port.hpp"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <pthread.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <future>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <variant>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace tool = plinth::ioreg_tool;
using namespace std::chrono_literals;

class hid_command_test : public plinth::testing::threaded_sim_test
{
protected:
    void SetUp() override
    {
        threaded_sim_test::SetUp();
        platform = sim::add_entry({"IOPlatformExpertDevice", "Platform"}, sim::root_entry_id);
        keyboard = sim::add_entry({"IOUSBHostHIDDevice",
                                   "Keyboard",
                                   "14100000",
                                   {{"DeviceUsagePage", sim::make_number(1)},
                                    {"DeviceUsage", sim::make_number(6)},
                                    {"VendorID", sim::make_number(0x046d)},
                                    {"ProductID", sim::make_number(0xc31c)},
                                    {"Product", std::string("USB Keyboard")},
                                    {"MaxInputReportSize", sim::make_number(8)},
                                    {"MaxOutputReportSize", sim::make_number(1)}}},
                                  platform);
        vendor = sim::add_entry(
            {"IOUSBHostHIDDevice",
             "Gadget",
             "14200000",
             {{"DeviceUsagePage", sim::make_number(0xff42)}, {"MaxInputReportSize", sim::make_number(4)}}},
            platform);
        sim::add_entry({"IOUSBHostDevice", "Not HID"}, platform);
    }

    // The commands load the bundled registry, as the tool does: the HID device
    // they read is one of its own.
    static std::uint64_t bundled_hid_device()
    {
        sim::load_bundled_registry();
        plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
        for (auto const& item : tool::list_hid_devices(registry))
            if (item.max_input_report_size)
                return item.id;
        ADD_FAILURE() << "the bundled registry has no HID device with a report size";
        return 0;
    }

    tool::options read_options(std::uint64_t id, std::size_t count) const
    {
        tool::options chosen;
        chosen.id = id;
        chosen.count = count;
        chosen.registries = {};
        return chosen;
    }

    sim::entry_id platform = 0;
    sim::entry_id keyboard = 0;
    sim::entry_id vendor = 0;
};

// Reports sent before the reader has the device open go nowhere: the device sends
// one every few milliseconds until the reader has printed one, or ended.
bool keep_sending_until_printed(std::uint64_t device, std::filesystem::path const& file, std::future<int> const& reader,
                                std::uint32_t report_id = 1, std::vector<std::uint8_t> const& report = {0x00, 0x04})
{
    auto const until = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < until)
    {
        if (!plinth::testing::read_file(file).empty() || reader.wait_for(0s) == std::future_status::ready)
            return true;
        try
        {
            sim::post_input_report(device, report_id, report);
        }
        catch (std::invalid_argument const&)
        {
            // The reader is loading the registry afresh: the entry is not back yet.
        }
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

TEST_F(hid_command_test, lists_hid_devices_with_their_usage_in_words)
{
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    auto const items = tool::list_hid_devices(registry);
    ASSERT_EQ(items.size(), 2u) << "the USB device that is not HID is left out";
    EXPECT_EQ(tool::format_hid_listing(items),
              fmt::format("046d:c31c  USB Keyboard  Generic Desktop / Keyboard  input 8  output 1  {:#x}  "
                          "IOService:/Keyboard@14100000\n"
                          "-:-  -  Vendor-defined 0xFF42  input 4  output -  {:#x}  IOService:/Gadget@14200000\n",
                          keyboard, vendor));
    auto const json = tool::hid_listing_to_json(items);
    EXPECT_EQ(json[0]["usage_name"], "Generic Desktop / Keyboard");
    EXPECT_EQ(json[0]["vendor_id"], 0x046d);
    EXPECT_TRUE(json[1]["product"].is_null());
}

TEST_F(hid_command_test, hex_bytes_are_whole_bytes_with_optional_separators)
{
    EXPECT_EQ(tool::parse_hex_bytes("0102ff"), (std::vector<std::uint8_t>{1, 2, 0xff}));
    EXPECT_EQ(tool::parse_hex_bytes("01:02 FF"), (std::vector<std::uint8_t>{1, 2, 0xff}));
    EXPECT_FALSE(tool::parse_hex_bytes(""));
    EXPECT_FALSE(tool::parse_hex_bytes("012"));
    EXPECT_FALSE(tool::parse_hex_bytes("0x01"));
    EXPECT_FALSE(tool::parse_hex_bytes("zz"));
}

TEST_F(hid_command_test, read_prints_each_report_until_the_count)
{
    auto const device = bundled_hid_device();
    plinth::testing::scratch_folder const scratch("hid-read");
    auto const file = scratch.path() / "out";
    std::FILE* out = std::fopen(file.c_str(), "w");
    auto reader = std::async(std::launch::async, [&] { return tool::run_hid_read(read_options(device, 2), out); });
    ASSERT_TRUE(keep_sending_until_printed(device, file, reader));
    sim::post_input_report(device, 2, std::vector<std::uint8_t>{0xff});
    ASSERT_EQ(reader.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reader.get(), 0);
    std::fclose(out);
    auto const text = plinth::testing::read_file(file);
    EXPECT_TRUE(std::regex_match(text, std::regex(R"((\d\d:\d\d:\d\d\.\d{3}  id [12]  (00 04|ff)\n){2})"))) << text;
}

// Reads one report of the bundled gamepad, sent as the descriptor lays it out, with
// --decode (and --json when asked); returns what the reader printed.
std::string read_one_decoded_gamepad_report(bool json)
{
    sim::load_bundled_registry();
    auto const gamepads = plinth::apple::find_devices(plinth::apple::device_match::hid_with_usage(0x01, 0x05));
    EXPECT_EQ(gamepads.size(), 1u);
    if (gamepads.empty())
        return {};
    auto const value = gamepads[0].get_property_value("ReportDescriptor");
    auto const descriptor =
        plinth::apple::hid_report_descriptor::parse(std::get<plinth::property::data>(value.content));
    using plinth::apple::hid_report_type;
    auto report = descriptor.make_report(hid_report_type::input, 0);
    descriptor.set(hid_report_type::input, {0x09, 0x02}, 1, report);   // Button 2
    descriptor.set(hid_report_type::input, {0x01, 0x31}, 200, report); // Y
    descriptor.set(hid_report_type::input, {0x01, 0x39}, 8, report);   // Hat Switch: at rest

    tool::options chosen;
    chosen.id = gamepads[0].get_id();
    chosen.count = 1;
    chosen.decode = true;
    chosen.json = json;
    plinth::testing::scratch_folder const scratch("hid-read-decode");
    auto const file = scratch.path() / "out";
    std::FILE* out = std::fopen(file.c_str(), "w");
    auto reader = std::async(std::launch::async, [&] { return tool::run_hid_read(chosen, out); });
    EXPECT_TRUE(keep_sending_until_printed(chosen.id.value(), file, reader, 0, report));
    EXPECT_EQ(reader.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reader.get(), 0);
    std::fclose(out);
    return plinth::testing::read_file(file);
}

TEST_F(hid_command_test, read_decode_prints_each_report_as_usage_value_pairs)
{
    auto const text = read_one_decoded_gamepad_report(false);
    EXPECT_TRUE(std::regex_match(text, std::regex(R"(\d\d:\d\d:\d\d\.\d{3}  id 0  X = 0, Y = 200, Z = 0, Rz = 0, )"
                                                  R"(Hat Switch = none, Button 1 = 0, Button 2 = 1, Button 3 = 0, .*, )"
                                                  R"(Button 12 = 0\n)")))
        << text;
}

TEST_F(hid_command_test, read_decode_json_gives_each_value_with_its_usage_and_null_for_no_value)
{
    auto const line = nlohmann::json::parse(read_one_decoded_gamepad_report(true));
    EXPECT_EQ(line["report_id"], 0);
    ASSERT_EQ(line["values"].size(), 17u);
    EXPECT_EQ(line["values"][1], nlohmann::json::parse(R"({"usage_page":1,"usage":49,"name":"Y","value":200})"));
    EXPECT_EQ(line["values"][4]["name"], "Hat Switch");
    EXPECT_TRUE(line["values"][4]["value"].is_null());
}

TEST_F(hid_command_test, read_decode_refuses_a_device_whose_descriptor_is_malformed_saying_where)
{
    plinth::testing::scratch_folder const scratch("hid-read-decode");
    auto const dump = scratch.write("broken-ioreg-l.txt",
                                    "+-o Root  <class IORegistryEntry, id 0x100000100, retain 10>\n"
                                    "  +-o Broken  <class IOUSBHostHIDDevice, id 0x100000200, registered, retain 6>\n"
                                    "      {\n"
                                    "        \"ReportDescriptor\" = <0501c0>\n"
                                    "        \"MaxInputReportSize\" = 1\n"
                                    "        \"MaxOutputReportSize\" = 0\n"
                                    "      }\n");
    auto chosen = read_options(0x100000200, 1);
    chosen.registries = {dump.string()};
    chosen.decode = true;
    try
    {
        tool::run_hid_read(chosen, stdout);
        FAIL();
    }
    catch (tool::tool_error const& e)
    {
        EXPECT_EQ(std::string(e.what()), "the report descriptor of 0x100000200 is malformed: byte 2, item 0xC0 (End "
                                         "Collection): End Collection without a Collection");
    }
}

TEST_F(hid_command_test, ctrl_c_ends_a_read_cleanly_and_frees_the_device)
{
    auto const device = bundled_hid_device();
    plinth::testing::scratch_folder const scratch("hid-read");
    auto const file = scratch.path() / "out";
    std::FILE* out = std::fopen(file.c_str(), "w");
    auto options = read_options(device, 0);
    options.count.reset();
    std::packaged_task<int()> read([&] { return tool::run_hid_read(options, out); });
    auto reader = read.get_future();
    std::jthread reading(std::move(read));
    // Once a report is printed the reader handles Ctrl-C itself. The signal goes
    // to the reading thread: the handler reads what that thread set up when it
    // installed it, and only the kernel orders the two, which ThreadSanitizer
    // cannot see when the signal lands on another thread.
    ASSERT_TRUE(keep_sending_until_printed(device, file, reader));
    ASSERT_EQ(pthread_kill(reading.native_handle(), SIGINT), 0);
    ASSERT_EQ(reader.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reader.get(), 0);
    std::fclose(out);

    // Closed: another client can take it.
    tool::options write;
    write.id = device;
    write.output_report = {0x02};
    EXPECT_EQ(tool::run_hid_write(write), 0);
    auto const sent = sim::output_reports(device);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].bytes, std::vector<std::uint8_t>{0x02});
}

TEST_F(hid_command_test, a_device_removed_during_a_read_is_an_error)
{
    auto const device = bundled_hid_device();
    plinth::testing::scratch_folder const scratch("hid-read");
    auto const file = scratch.path() / "out";
    std::FILE* out = std::fopen(file.c_str(), "w");
    auto reader = std::async(std::launch::async, [&] { return tool::run_hid_read(read_options(device, 5), out); });
    // Once a report is printed the reader has the device and is reading.
    ASSERT_TRUE(keep_sending_until_printed(device, file, reader));
    sim::remove_entry(device);
    ASSERT_EQ(reader.wait_for(10s), std::future_status::ready);
    try
    {
        reader.get();
        FAIL() << "the read went on without its device";
    }
    catch (tool::tool_error const& e)
    {
        EXPECT_STREQ(e.what(), "the device was removed");
    }
    std::fclose(out);
}

TEST_F(hid_command_test, an_entry_that_is_not_a_hid_device_is_refused_by_name)
{
    auto const not_hid = sim::root_entry_id;
    try
    {
        tool::run_hid_read(read_options(not_hid, 1), stdout);
        FAIL();
    }
    catch (tool::tool_error const& e)
    {
        EXPECT_EQ(std::string(e.what()), fmt::format("{:#x} is not a HID device", not_hid));
    }
}

} // namespace
