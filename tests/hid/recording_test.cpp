// Tests of hid_recording: Linux recordings read as their recorder writes them, Mac additions kept
// through a round trip, bad files refused at the line at fault, and a cut-short recording still read.
#include "hid/recording.hpp"
#include "hid/recording_error.hpp"
#include "hid/recording_writer.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace plinth::apple;
using namespace std::chrono_literals;

// A mouse as the Linux recorder writes one: comments before the header, the
// header in its own order, times padded and not, a trailing space, CRLF line
// ends, and a line of a kind this reader does not know.
constexpr char const* linux_mouse = "# A4Tech PS/2+USB Mouse\r\n"
                                    "# report descriptor length: 8 bytes\r\n"
                                    "D: 0\r\n"
                                    "R: 8 05 01 09 02 a1 01 c0 00 \r\n"
                                    "N: A4Tech PS/2+USB Mouse\r\n"
                                    "P: usb-0000:00:14.0-4.1.4/input0\r\n"
                                    "I: 3 09da 0006\r\n"
                                    "Z: a kind added later\r\n"
                                    "# ReportID: 1 / Button: 0 0 0\r\n"
                                    "E: 000000.071952 4 00 00 00 ff\r\n"
                                    "E: 3.103810 4 01 02 03 04\r\n"
                                    "E: 3.103810 2 05 06\r\n";

TEST(hid_recording, reads_a_linux_recording_as_its_recorder_writes_it)
{
    auto const recording = hid_recording::parse(linux_mouse);
    ASSERT_EQ(recording.devices.size(), 1u);
    auto const& mouse = recording.devices[0];
    EXPECT_EQ(mouse.descriptor, (std::vector<std::uint8_t>{0x05, 0x01, 0x09, 0x02, 0xa1, 0x01, 0xc0, 0x00}));
    EXPECT_EQ(mouse.name, "A4Tech PS/2+USB Mouse");
    EXPECT_EQ(mouse.physical_path, "usb-0000:00:14.0-4.1.4/input0");
    EXPECT_EQ(mouse.identity, (hid_recorded_identity{3, 0x09da, 0x0006}));
    ASSERT_EQ(mouse.inputs.size(), 3u);
    EXPECT_EQ(mouse.inputs[0], (hid_recorded_report{71'952us, {0, 0, 0, 0xff}}));
    EXPECT_EQ(mouse.inputs[1], (hid_recorded_report{3'103'810us, {1, 2, 3, 4}}));
    EXPECT_EQ(mouse.inputs[2].time, mouse.inputs[1].time) << "two reports may share a time";
    EXPECT_TRUE(mouse.registry.empty());
}

TEST(hid_recording, gives_each_device_of_a_file_its_own_lines_across_d_switches)
{
    auto const recording = hid_recording::parse("R: 1 c0\n"
                                                "N: implicit first\n"
                                                "D: 1\n"
                                                "R: 2 a1 c0\n"
                                                "D: 0\n"
                                                "E: 0.5 1 aa\n"
                                                "D: 1\n"
                                                "E: 0.2 1 bb\n"
                                                "D: 0\n"
                                                "E: 0.6 1 cc\n");
    ASSERT_EQ(recording.devices.size(), 2u);
    EXPECT_EQ(recording.devices[0].name, "implicit first") << "lines before any D: are device 0's";
    EXPECT_EQ(recording.devices[0].inputs,
              (std::vector<hid_recorded_report>{{500'000us, {0xaa}}, {600'000us, {0xcc}}}));
    EXPECT_EQ(recording.devices[1].inputs, (std::vector<hid_recorded_report>{{200'000us, {0xbb}}}))
        << "times go on per device: 0.2 after device 0's 0.5 is not backwards";
    EXPECT_FALSE(recording.devices[1].physical_path.has_value());
}

hid_recording mac_keyboard_and_mouse()
{
    hid_recording r;
    auto& keyboard = r.devices.emplace_back();
    keyboard.descriptor = {0x05, 0x01, 0x09, 0x06, 0xa1, 0x01, 0xc0};
    keyboard.name = "Apple Internal Keyboard / Trackpad";
    keyboard.physical_path = "";
    keyboard.identity = hid_recorded_identity{3, 0x05ac, 0x0281};
    keyboard.registry = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n\n<dict/>\n</plist>\n";
    keyboard.feature_answers = {{0, {0x00, 0x01}}, {9, {0x09, 0xff, 0x00}}};
    keyboard.inputs = {{0us, {1, 0, 0x0b}}, {1'500us, {1, 0, 0}}, {1'500us, {1, 0, 0x08}}};
    keyboard.outputs = {{1'500us, {0x02}}, {2'000'000us, {}}};
    keyboard.features = {{3'000'000us, {0x09, 0x01}}};
    auto& mouse = r.devices.emplace_back();
    mouse.descriptor = {0xc0};
    mouse.name = "Mouse";
    mouse.inputs = {{1'000us, {1, 2}}, {4'000'000us, {3, 4}}};
    return r;
}

TEST(hid_recording, keeps_what_a_mac_adds_through_a_round_trip_in_lines_other_readers_skip)
{
    auto const recording = mac_keyboard_and_mouse();
    auto const text = recording.format();
    EXPECT_EQ(hid_recording::parse(text), recording) << text;

    // A reader of the Linux format sees only its own kinds: the rest are comments.
    std::istringstream lines(text);
    std::string line;
    std::size_t reports = 0;
    while (std::getline(lines, line))
    {
        ASSERT_TRUE(line.starts_with("#") ||
                    (line.size() >= 2 && std::string("DRNPIE").find(line[0]) != std::string::npos && line[1] == ':'))
            << line;
        reports += line.starts_with("E: ") ? 1 : 0;
    }
    EXPECT_EQ(reports, 5u);
    EXPECT_NE(text.find("E: 000000.001500 3 01 00 00\n"), std::string::npos) << "times are written padded, six places";
    EXPECT_NE(text.find("I: 3 05ac 0281\n"), std::string::npos);
}

TEST(hid_recording, refuses_bad_content_naming_the_line_at_fault)
{
    struct bad_file
    {
        std::string text;
        std::size_t line;
        std::string says;
    };
    std::string const header = "D: 0\nR: 2 a1 c0\n"; // lines 1 and 2
    std::vector<bad_file> const bad = {
        {header + "E: 0.1 2 0g 00\n", 3, "bad hex byte '0g'"},
        {header + "E: 0.1 2 000 00\n", 3, "bad hex byte '000'"},
        {header + "E: 0.1 3 00 00\n", 3, "the length says 3 bytes, the line has 2"},
        {"R: 3 a1 c0\n", 1, "the length says 3 bytes, the line has 2"},
        {header + "E: 0.5 1 00\nE: 0.4 1 00\n", 4, "the time goes backwards"},
        {header + "#@ O: 0.5 1 00\nE: 0.4 1 00\n", 4, "the time goes backwards"},
        {"N: no descriptor yet\nE: 0.1 1 00\n", 2, "a report before the R: line of device 0"},
        {header + "E: 0.1\n", 3, "the line ends before its length"},
        {header + "E:\n", 3, "the line ends before its time"},
        {header + "E: 1 1 00\n", 3, "bad time '1'"},
        {header + "E: 0.1234567 1 00\n", 3, "bad time"},
        {header + "E: -1.0 1 00\n", 3, "bad time"},
        {header + "I: 3 10000 0001\n", 3, "bad vendor '10000'"},
        {header + "D: 2\n", 3, "device 2 comes before device 1"},
        {header + "R: 1 c0\n", 3, "a second R: line for device 0"},
        {header + "#@ F: 1 1 00\n#@ F: 1 1 01\n", 4, "a second answer for feature report 1"},
        {header + "#@ F: 256 1 00\n", 3, "bad report ID '256'"},
        {header + "D: 1\nN: nothing more\n", 3, "device 1 has no R: line"},
    };
    for (auto const& file : bad)
    {
        try
        {
            (void)hid_recording::parse(file.text);
            ADD_FAILURE() << "accepted:\n" << file.text;
        }
        catch (hid_recording_error const& e)
        {
            EXPECT_EQ(e.code(), hid_errc::bad_recording);
            EXPECT_EQ(e.line(), file.line) << e.what();
            EXPECT_TRUE(std::string(e.what()).starts_with("line " + std::to_string(file.line) + ": ")) << e.what();
            EXPECT_NE(std::string(e.what()).find(file.says), std::string::npos) << e.what();
        }
    }
}

// Found by the fuzzer: a name that ended in carriage returns lost one on each
// round trip, the reader taking the last for a CRLF line end.
TEST(hid_recording, writes_names_back_as_it_reads_them_whatever_their_line_ends)
{
    auto const recording = hid_recording::parse("R: 1 c0\nN: a\rb \r\r\r\nP: p\r\r\n");
    EXPECT_EQ(recording.devices.at(0).name, "a\rb ");
    EXPECT_EQ(recording.devices[0].physical_path, "p");
    EXPECT_EQ(hid_recording::parse(recording.format()), recording);

    hid_recorded_device odd;
    odd.descriptor = {0xc0};
    odd.name = "two\nlines\r";
    EXPECT_EQ(hid_recording::parse(hid_recording{{odd}}.format()).devices.at(0).name, "two lines");
}

TEST(hid_recording, skips_comments_unknown_kinds_and_lines_of_no_kind)
{
    auto const recording = hid_recording::parse("\n#@ Q: a Mac kind added later\nhello\nK:\nR: 0\n#\nE: 0.0 0\n");
    ASSERT_EQ(recording.devices.size(), 1u);
    EXPECT_EQ(recording.devices[0].inputs.size(), 1u);
    EXPECT_EQ(hid_recording::parse("# only comments\n").devices.size(), 0u);
}

// What a recorder that is stopped by Ctrl-C leaves: every call's lines are
// whole and flushed, so the file reads up to its last report.
TEST(hid_recording, a_recording_cut_after_any_report_reads_up_to_that_report)
{
    auto const recording = mac_keyboard_and_mouse();
    std::ostringstream out;
    hid_recording_writer writer(out);
    writer.comment("recorded by a test\nof two lines");
    writer.device(0, recording.devices[0]);
    for (std::size_t i = 0; i < recording.devices[0].inputs.size(); ++i)
    {
        writer.input(0, recording.devices[0].inputs[i]);
        auto const so_far = hid_recording::parse(out.str());
        ASSERT_EQ(so_far.devices.at(0).inputs.size(), i + 1);
        EXPECT_EQ(so_far.devices[0].inputs.back(), recording.devices[0].inputs[i]);
    }
    EXPECT_TRUE(out.str().starts_with("# recorded by a test\n# of two lines\nD: 0\n")) << out.str();
}

} // namespace
