// The hid listing, and hid read and write against simulated devices: reports printed, Ctrl-C, removal, an entry not HID.
#include "sim/control/hid.hpp"
#include "support/scratch_folder.hpp"
#include "support/threaded_sim_test.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/hid_command.hpp"
#include "tools/plinth-ioreg/listings/hid_listing.hpp"

#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "device/apple/hid_device_client.hpp"
#include "device/apple/hid_stream.hpp"
#include "device/apple/tree.hpp"
#include "hid/report_descriptor.hpp"
#include "io_kit/mach_port.hpp"

#include <boost/asio/io_context.hpp>

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <IOKit/hid/IOHIDKeys.h>

#include <pthread.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
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

// A queued read whose printing stalls (its output held locked) while ten reports come:
// the queue of four keeps the newest, the reader prints them in order once it can, and
// the removal that ends the read says how many were dropped, so that the reports
// printed and those dropped are every report the device sent.
TEST_F(hid_command_test, a_queued_read_that_falls_behind_prints_in_order_and_counts_every_drop)
{
    auto const device = bundled_hid_device();
    plinth::testing::scratch_folder const scratch("hid-read-queue");
    auto const file = scratch.path() / "out";
    std::FILE* out = std::fopen(file.c_str(), "w");
    auto chosen = read_options(device, 1000);
    chosen.queue = 4;
    chosen.drop_oldest = true;
    auto reader = std::async(std::launch::async, [&] { return tool::run_hid_read(chosen, out); });

    // The reader loads the registry afresh, then opens the device: until then the
    // entry may be missing, or have no reader.
    auto const until = std::chrono::steady_clock::now() + 10s;
    auto const reading = [&] {
        try
        {
            return sim::hid_readers(device) > 0;
        }
        catch (std::invalid_argument const&)
        {
            return false;
        }
    };
    while (!reading() && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(2ms);
    ASSERT_TRUE(reading());

    // The run-loop thread moves the reports into the queue as they come; by the time
    // printing resumes it has almost always queued all ten, and dropped the oldest.
    flockfile(out);
    for (std::uint8_t i = 0; i < 10; ++i)
        sim::post_input_report(device, 2, std::vector<std::uint8_t>{i});
    std::this_thread::sleep_for(50ms);
    funlockfile(out);
    // The newest report is never the one dropped: once it is printed, every report
    // has been through the queue.
    while (plinth::testing::read_file(file).find("id 2  09\n") == std::string::npos &&
           std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(2ms);
    sim::remove_entry(device);
    ASSERT_EQ(reader.wait_for(10s), std::future_status::ready);
    std::string ending;
    try
    {
        reader.get();
    }
    catch (tool::tool_error const& e)
    {
        ending = e.what();
    }
    std::fclose(out);

    auto const text = plinth::testing::read_file(file);
    std::vector<int> printed;
    std::regex const line(R"(\d\d:\d\d:\d\d\.\d{3}  id 2  (\d\d)\n)");
    for (std::sregex_iterator it(text.begin(), text.end(), line), end; it != end; ++it)
        printed.push_back(std::stoi((*it)[1].str()));
    ASSERT_FALSE(printed.empty()) << text;
    EXPECT_TRUE(std::is_sorted(printed.begin(), printed.end()) &&
                std::adjacent_find(printed.begin(), printed.end()) == printed.end())
        << text;
    EXPECT_EQ(printed.back(), 9) << text;
    auto const dropped = 10 - printed.size();
    EXPECT_EQ(ending, dropped == 0 ? std::string("the device was removed")
                                   : fmt::format("the device was removed; the read queue dropped {} report{}", dropped,
                                                 dropped == 1 ? "" : "s"));
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

// The bundled registry's device of one vendor and product, loaded afresh.
plinth::apple::device bundled_device(int vendor, int product)
{
    sim::load_bundled_registry();
    auto const found = plinth::apple::find_devices(plinth::apple::device_match{"IOHIDDevice", vendor, product});
    EXPECT_FALSE(found.empty()) << fmt::format("no {:04x}:{:04x} in the bundled registry", vendor, product);
    return found.empty() ? plinth::apple::device() : found.front();
}

// The bundled registry's Custom HID board: a vendor-defined device, which needs no
// Input Monitoring.
plinth::apple::device bundled_board()
{
    return bundled_device(0x0483, 0x5750);
}

std::string tool_error_of(std::function<int()> const& command)
{
    try
    {
        command();
    }
    catch (tool::tool_error const& e)
    {
        return e.what();
    }
    return "(no error)";
}

TEST_F(hid_command_test, the_listing_names_who_has_each_device_open_and_who_seized_it)
{
    auto const seizer = sim::open_foreign_client(keyboard, 4242, "karabiner_grabbe", kIOHIDOptionsTypeSeizeDevice);
    auto const silenced = sim::open_foreign_client(keyboard, 311, "Logi Options", kIOHIDOptionsTypeNone);
    EXPECT_EQ(silenced.open_result, kIOReturnExclusiveAccess);
    auto const sharing = sim::open_foreign_client(vendor, 77, "hidapitester", kIOHIDOptionsTypeNone);
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    auto const items = tool::list_hid_devices(registry);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(tool::format_hid_listing(items),
              fmt::format("046d:c31c  USB Keyboard  Generic Desktop / Keyboard  input 8  output 1  {:#x}  "
                          "IOService:/Keyboard@14100000  open by pid 4242, karabiner_grabbe (seized); pid 311, "
                          "Logi Options\n"
                          "-:-  -  Vendor-defined 0xFF42  input 4  output -  {:#x}  IOService:/Gadget@14200000  "
                          "open by pid 77, hidapitester\n",
                          keyboard, vendor));
    auto const json = tool::hid_listing_to_json(items);
    EXPECT_EQ(json[0]["clients"],
              nlohmann::ordered_json::parse(R"([{"pid":4242,"process_name":"karabiner_grabbe","seizing":true},)"
                                            R"({"pid":311,"process_name":"Logi Options","seizing":false}])"));
    EXPECT_EQ(json[1]["clients"].size(), 1u);

    // Once they close, the devices list as nobody's again, with no clients in JSON.
    for (auto const& client : {seizer, silenced, sharing})
        EXPECT_EQ(sim::close_foreign_client(client), kIOReturnSuccess);
    auto const after = tool::list_hid_devices(registry);
    EXPECT_EQ(tool::format_hid_listing(after).find("open by"), std::string::npos);
    EXPECT_TRUE(tool::hid_listing_to_json(after)[0]["clients"].empty());
}

TEST_F(hid_command_test, a_client_the_registry_does_not_name_lists_as_an_unknown_process)
{
    sim::add_entry({"IOHIDLibUserClient", "IOHIDLibUserClient"}, vendor);
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    auto const items = tool::list_hid_devices(registry);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_TRUE(tool::format_hid_listing(items).ends_with("IOService:/Gadget@14200000  open by an unknown process\n"));
    EXPECT_EQ(tool::hid_listing_to_json(items)[1]["clients"],
              nlohmann::ordered_json::parse(R"([{"pid":null,"process_name":null,"seizing":null}])"));
}

TEST_F(hid_command_test, read_shared_reads_beside_other_clients_and_silences_none)
{
    auto const board = bundled_board();
    auto const other_program = sim::open_foreign_client(board.get_id(), 4242, "hidapitester", kIOHIDOptionsTypeNone);
    boost::asio::io_context context;
    plinth::apple::hid_stream other_stream(context.get_executor(), board, plinth::apple::hid_open_mode::shared);
    ASSERT_TRUE(other_stream.is_open());

    plinth::testing::scratch_folder const scratch("hid-read-shared");
    auto const file = scratch.path() / "out";
    std::FILE* out = std::fopen(file.c_str(), "w");
    auto chosen = read_options(board.get_id(), 0);
    chosen.count.reset();
    chosen.shared = true;
    // It reads until Ctrl-C, so that it still has the device open whatever the
    // number of reports it has printed when the clients are looked at.
    std::packaged_task<int()> read([&] { return tool::read_hid_reports(chosen, out); });
    auto reader = read.get_future();
    std::jthread reading(std::move(read));
    ASSERT_TRUE(keep_sending_until_printed(board.get_id(), file, reader));
    ASSERT_NE(reader.wait_for(0s), std::future_status::ready);

    // The tool reads with the device open three times over (besides the client
    // the dump itself records, which names no process), and holds it no more than
    // the others do: nobody is silenced.
    std::size_t named = 0;
    for (auto const& client : plinth::apple::hid_device_clients(board))
    {
        if (client.pid < 0)
            continue;
        ++named;
        EXPECT_EQ(client.seizing, false) << client.describe();
        EXPECT_EQ(client.silenced, false) << client.describe();
    }
    EXPECT_EQ(named, 3u);
    // The stream beside it heard the reports too.
    std::array<std::uint8_t, 64> bytes{};
    std::uint8_t report_id = 0;
    boost::system::error_code ec;
    EXPECT_EQ(other_stream.read({&report_id, boost::asio::buffer(bytes)}, 10s, ec), 2u);
    EXPECT_FALSE(ec) << ec.message();

    ASSERT_EQ(pthread_kill(reading.native_handle(), SIGINT), 0);
    ASSERT_EQ(reader.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reader.get(), 0);
    std::fclose(out);
    other_stream.close();
    EXPECT_EQ(sim::close_foreign_client(other_program), kIOReturnSuccess);
}

TEST_F(hid_command_test, a_device_another_program_seized_is_refused_naming_that_program)
{
    auto const board = bundled_board();
    auto const holder =
        sim::open_foreign_client(board.get_id(), 4242, "karabiner_grabbe", kIOHIDOptionsTypeSeizeDevice);
    auto const clients_before = plinth::apple::hid_device_clients(board).size();
    auto const expected = fmt::format("cannot open HID device {:#x}: seized by pid 4242, karabiner_grabbe, which has "
                                      "exclusive access until it closes the device",
                                      board.get_id());
    for (bool const shared : {false, true})
    {
        auto chosen = read_options(board.get_id(), 1);
        chosen.shared = shared;
        EXPECT_EQ(tool_error_of([&] { return tool::read_hid_reports(chosen, stdout); }), expected) << shared;
        chosen.output_report = {0x01};
        EXPECT_EQ(tool_error_of([&] { return tool::write_hid_report(chosen); }), expected) << shared;
    }
    // A refused open holds nothing: no client is left behind.
    EXPECT_EQ(plinth::apple::hid_device_clients(board).size(), clients_before);
    EXPECT_TRUE(sim::output_reports(board.get_id()).empty());
    EXPECT_EQ(sim::close_foreign_client(holder), kIOReturnSuccess);
}

TEST_F(hid_command_test, without_input_monitoring_the_keyboard_is_refused_in_one_line_and_a_gamepad_still_reads)
{
    sim::set_hid_access(kIOHIDAccessTypeDenied);
    auto const usb_keyboard = bundled_device(0x046d, 0xc31c);
    auto const message =
        tool_error_of([&] { return tool::run_hid_read(read_options(usb_keyboard.get_id(), 1), stdout); });
    EXPECT_EQ(message, fmt::format("cannot open HID device {:#x}: not permitted: this program lacks the Input "
                                   "Monitoring permission (grant it in System Settings > Privacy & Security > Input "
                                   "Monitoring)",
                                   usb_keyboard.get_id()));
    EXPECT_EQ(message.find('\n'), std::string::npos);

    // A game pad is no keyboard, mouse or touch pad: the system lets anyone read it.
    auto const gamepad = bundled_device(0x046d, 0xc216);
    plinth::testing::scratch_folder const scratch("hid-read-denied");
    auto const file = scratch.path() / "out";
    std::FILE* out = std::fopen(file.c_str(), "w");
    auto reader =
        std::async(std::launch::async, [&] { return tool::run_hid_read(read_options(gamepad.get_id(), 1), out); });
    ASSERT_TRUE(keep_sending_until_printed(gamepad.get_id(), file, reader, 0, std::vector<std::uint8_t>(7)));
    ASSERT_EQ(reader.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reader.get(), 0);
    std::fclose(out);
    EXPECT_NE(plinth::testing::read_file(file).find("id 0  00 00 00 00 00 00 00"), std::string::npos);
}

TEST_F(hid_command_test, write_with_a_timeout_gives_up_on_a_device_that_never_answers)
{
    auto const board = bundled_board();
    sim::stall_report_answers(board.get_id());
    tool::options chosen;
    chosen.id = board.get_id();
    chosen.output_report = {0x01, 0x02};
    chosen.write_timeout = 100ms;
    auto writer =
        std::async(std::launch::async, [&] { return tool_error_of([&] { return tool::write_hid_report(chosen); }); });
    // Hung for good without the timeout; the bound only keeps a failure from
    // hanging the suite.
    ASSERT_EQ(writer.wait_for(60s), std::future_status::ready);
    EXPECT_EQ(writer.get(), fmt::format("cannot write to HID device {:#x}: timed out: the device did not answer "
                                        "within 100 ms",
                                        board.get_id()));
}

TEST_F(hid_command_test, write_timeouts_are_whole_milliseconds_up_to_iokits_limit)
{
    EXPECT_EQ(tool::parse_write_timeout("100"), 100ms);
    EXPECT_EQ(tool::parse_write_timeout("1"), 1ms);
    EXPECT_EQ(tool::parse_write_timeout("1200000"), tool::longest_write_timeout);
    for (auto const* bad : {"0", "-5", "", "abc", "1.5", "100ms", " 100", "+100", "1200001", "99999999999999999999"})
        EXPECT_FALSE(tool::parse_write_timeout(bad)) << bad;
}

} // namespace
