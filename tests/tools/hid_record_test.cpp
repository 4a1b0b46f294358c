// hid record against simulated devices: what it writes replays to the same reports byte for byte; feature answers,
// registry entries and identity kept; the recordings shipped in examples/ are what it makes of the bundled devices.
#include "hid/recording.hpp"
#include "hid/recording_error.hpp"
#include "hid/report_descriptor.hpp"
#include "sim/control/hid.hpp"
#include "sim/control/hid_replay.hpp"
#include "sim/control/loaders.hpp"
#include "support/scratch_folder.hpp"
#include "support/threaded_sim_test.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/hid_record.hpp"

#include "device/apple/hid_stream.hpp"
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"

#include <boost/asio/io_context.hpp>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace tool = plinth::ioreg_tool;
namespace fs = std::filesystem;
using plinth::apple::hid_recording;
using plinth::apple::hid_report_type;
using plinth::apple::hid_usage;
using plinth::testing::read_file;
using plinth::testing::scratch_folder;
using namespace std::chrono_literals;

using report = std::vector<std::uint8_t>;

// The bundled registry's keyboard, mouse and gamepad.
constexpr sim::entry_id bundled_keyboard = 0x1000001aa;
constexpr sim::entry_id bundled_mouse = 0x1000001b8;
constexpr sim::entry_id bundled_gamepad = 0x10000026a;

// Waits until the recorder has written the device's header: it has the device
// open with its report callback by then, so that no report posted later is lost.
// A file read while the header is being written may not read yet.
void wait_for_the_header(fs::path const& file, std::future<int> const& recorder)
{
    while (recorder.wait_for(1ms) != std::future_status::ready)
    {
        try
        {
            if (hid_recording::parse(read_file(file)).devices.size() == 1)
                return;
        }
        catch (plinth::apple::hid_recording_error const&)
        {
        }
    }
}

class hid_record_test : public plinth::testing::threaded_sim_test
{
protected:
    void SetUp() override
    {
        threaded_sim_test::SetUp();
        sim::load_bundled_registry();
    }

    // Records `device` until it has sent `reports`, which are posted `spacing`
    // apart once the recorder has the device open; the recording's text.
    std::string record(sim::entry_id device, std::vector<report> const& reports, std::chrono::milliseconds spacing)
    {
        // A file of its own: the header of an earlier recording must not pass for this one's.
        auto const file = scratch.path() / ("recording-" + std::to_string(++recordings) + ".hid");
        tool::options chosen;
        chosen.id = device;
        chosen.count = reports.size();
        chosen.output_file = file.string();
        auto recorder = std::async(std::launch::async, [chosen] { return tool::record_hid_reports(chosen, stdout); });
        wait_for_the_header(file, recorder);
        for (auto const& bytes : reports)
        {
            sim::post_input_report(device, 0, bytes);
            std::this_thread::sleep_for(spacing);
        }
        EXPECT_EQ(recorder.get(), 0);
        return read_file(file);
    }

    // The device's own input reports, read back through a hid_stream from a
    // stepped replay of `recording`.
    static std::vector<report> replayed_reports(hid_recording const& recording)
    {
        sim::hid_replay replay(recording, 0, {sim::replay_pace::stepped});
        boost::asio::io_context io;
        plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
        plinth::apple::hid_stream stream(io.get_executor(),
                                         plinth::apple::device(plinth::apple::io_kit::io_registry_entry(
                                             registry.get_by_id(replay.device()).next())));
        std::vector<report> read;
        while (replay.next())
        {
            report bytes(64);
            std::uint8_t id = 0;
            bytes.resize(stream.read({&id, boost::asio::buffer(bytes)}, 5s));
            read.push_back(bytes);
        }
        return read;
    }

    scratch_folder const scratch{"hid-record"};
    int recordings = 0;
};

// A boot keyboard typing "hello": each key pressed, then released.
std::vector<report> typing_hello()
{
    std::vector<report> reports;
    for (std::uint8_t const key : {0x0b, 0x08, 0x0f, 0x0f, 0x12})
    {
        reports.push_back({0, 0, key, 0, 0, 0, 0, 0});
        reports.push_back({0, 0, 0, 0, 0, 0, 0, 0});
    }
    return reports;
}

// A mouse moving once round a circle of radius 40 in 36 steps (X, Y relative).
std::vector<report> moving_in_a_circle()
{
    std::vector<report> reports;
    auto const at = [](int step, auto f) { return static_cast<int>(std::lround(40 * f(step * M_PI / 18))); };
    for (int step = 0; step < 36; ++step)
    {
        auto const dx =
            at(step + 1, [](double a) { return std::cos(a); }) - at(step, [](double a) { return std::cos(a); });
        auto const dy =
            at(step + 1, [](double a) { return std::sin(a); }) - at(step, [](double a) { return std::sin(a); });
        reports.push_back({0, static_cast<std::uint8_t>(dx), static_cast<std::uint8_t>(dy), 0});
    }
    return reports;
}

// A gamepad pressing and releasing each of its buttons in turn, the reports
// made by its own descriptor (the sticks centred, the hat switch at rest).
std::vector<report> pressing_each_button(sim::entry_id gamepad)
{
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    plinth::apple::device const device(plinth::apple::io_kit::io_registry_entry(registry.get_by_id(gamepad).next()));
    auto const bytes = mpark::get<std::vector<std::byte>>(device.get_property("ReportDescriptor"));
    std::vector<std::uint8_t> descriptor_bytes;
    for (auto const b : bytes)
        descriptor_bytes.push_back(static_cast<std::uint8_t>(b));
    auto const descriptor = plinth::apple::hid_report_descriptor::parse(descriptor_bytes);
    auto rest = descriptor.make_report(hid_report_type::input, 0);
    for (std::uint16_t const axis : {0x30, 0x31, 0x32, 0x35})
        if (auto const where = descriptor.find(hid_report_type::input, {0x01, axis}))
            descriptor.write(*where, 0x80, rest);
    if (auto const hat = descriptor.find(hid_report_type::input, {0x01, 0x39}))
        descriptor.write(*hat, 8, rest);
    std::vector<report> reports;
    for (std::uint16_t button = 1;; ++button)
    {
        auto const where = descriptor.find(hid_report_type::input, {0x09, button});
        if (!where)
            break;
        auto pressed = rest;
        descriptor.write(*where, 1, pressed);
        reports.push_back(pressed);
        reports.push_back(rest);
    }
    return reports;
}

struct shipped_recording
{
    char const* file;
    sim::entry_id device;
    std::vector<report> (*reports)();
    std::chrono::milliseconds spacing;
};

std::vector<report> gamepad_buttons()
{
    return pressing_each_button(bundled_gamepad);
}

std::vector<shipped_recording> const shipped = {
    {"keyboard-typing-hello.hid", bundled_keyboard, typing_hello, 60ms},
    {"mouse-circle.hid", bundled_mouse, moving_in_a_circle, 10ms},
    {"gamepad-buttons.hid", bundled_gamepad, gamepad_buttons, 40ms},
};

TEST_F(hid_record_test, a_recording_replays_to_the_same_reports_byte_for_byte_in_order_with_its_device)
{
    auto const sent = typing_hello();
    auto const recording = hid_recording::parse(record(bundled_keyboard, sent, 2ms));
    ASSERT_EQ(recording.devices.size(), 1u);
    auto const& keyboard = recording.devices[0];
    EXPECT_EQ(keyboard.name, "USB Keyboard");
    EXPECT_EQ(keyboard.identity, (plinth::apple::hid_recorded_identity{3, 0x046d, 0xc31c}));
    EXPECT_EQ(keyboard.descriptor.size(), 63u);
    ASSERT_EQ(keyboard.inputs.size(), sent.size());
    for (std::size_t i = 0; i < sent.size(); ++i)
    {
        EXPECT_EQ(keyboard.inputs[i].bytes, sent[i]) << i;
        if (i > 0)
        {
            EXPECT_LE(keyboard.inputs[i - 1].time, keyboard.inputs[i].time);
        }
    }
    auto const entries = sim::read_ioreg_xml(keyboard.registry);
    ASSERT_EQ(entries.entries.size(), 3u) << "the USB device, its interface and the HID service";
    EXPECT_EQ(entries.entries.front().class_name, "IOUSBDevice");
    EXPECT_EQ(entries.entries.back().id, bundled_keyboard);

    EXPECT_EQ(replayed_reports(recording), sent);
}

TEST_F(hid_record_test, keeps_the_answer_to_each_feature_report_the_descriptor_defines)
{
    // A vendor device with one feature report of ID 3.
    auto const device = sim::add_entry(
        {"IOUSBHostHIDDevice",
         "Gadget",
         std::nullopt,
         {{"ReportDescriptor",
           sim::data{0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x85, 0x03, 0x09, 0x02, 0x15, 0x00, 0x26, 0xff, 0x00,
                     0x75, 0x08, 0x95, 0x02, 0xb1, 0x02, 0x85, 0x04, 0x09, 0x03, 0x95, 0x01, 0x81, 0x02, 0xc0}},
          {"MaxInputReportSize", sim::make_number(2)},
          {"MaxFeatureReportSize", sim::make_number(3)}}},
        sim::root_entry_id);
    sim::set_feature_report(device, 3, report{3, 0x2a, 0x07});
    auto const recording = hid_recording::parse(record(device, {{4, 0x11}}, 0ms));
    EXPECT_EQ(recording.devices.at(0).feature_answers, (std::map<std::uint8_t, report>{{3, {3, 0x2a, 0x07}}}));
    EXPECT_EQ(recording.devices[0].inputs.at(0).bytes, (report{4, 0x11}));
}

TEST_F(hid_record_test, a_device_removed_while_recorded_leaves_a_recording_of_every_report_until_then)
{
    auto const file = scratch.path() / "cut.hid";
    tool::options chosen;
    chosen.id = bundled_mouse;
    chosen.output_file = file.string();
    auto recorder = std::async(std::launch::async, [chosen] { return tool::record_hid_reports(chosen, stdout); });
    wait_for_the_header(file, recorder);
    sim::post_input_report(bundled_mouse, 0, report{1, 2, 3, 0});
    while (hid_recording::parse(read_file(file)).devices.at(0).inputs.empty())
        std::this_thread::sleep_for(1ms);
    sim::remove_entry(bundled_mouse);
    EXPECT_THROW(recorder.get(), tool::tool_error);
    EXPECT_EQ(hid_recording::parse(read_file(file)).devices.at(0).inputs.size(), 1u);
}

TEST_F(hid_record_test, stops_after_the_seconds_given_with_what_came_until_then)
{
    tool::options chosen;
    chosen.id = bundled_mouse;
    chosen.record_time = 1s;
    chosen.output_file = (scratch.path() / "timed.hid").string();
    EXPECT_EQ(tool::record_hid_reports(chosen, stdout), 0);
    EXPECT_TRUE(hid_recording::parse(read_file(chosen.output_file.value())).devices.at(0).inputs.empty());
}

// The shipped recordings hold what the recorder makes of the bundled devices
// sending these reports: the same header and the same reports, at other times.
// PLINTH_WRITE_RECORDINGS=1 writes them anew.
TEST_F(hid_record_test, the_shipped_recordings_are_the_bundled_devices_sending_their_reports)
{
    fs::path const folder = fs::path(PLINTH_SOURCE_DIR) / "examples" / "recordings";
    for (auto const& item : shipped)
    {
        auto const text = record(item.device, item.reports(), item.spacing);
        if (std::getenv("PLINTH_WRITE_RECORDINGS") != nullptr)
            std::ofstream(folder / item.file, std::ios::binary) << text;
        auto made = hid_recording::parse(text);
        auto kept = hid_recording::parse(read_file(folder / item.file));
        ASSERT_EQ(made.devices.size(), 1u);
        ASSERT_EQ(kept.devices.size(), 1u) << item.file;
        for (auto* recording : {&made, &kept})
            for (auto& input : recording->devices[0].inputs)
                input.time = {};
        EXPECT_EQ(kept, made) << item.file;
        EXPECT_EQ(replayed_reports(kept), item.reports()) << item.file;
    }
}

} // namespace
