// hid read and hid write: input reports of one HID device printed as they come, one output report sent.
#pragma once

#include "hid/value.hpp"
#include "tools/plinth-ioreg/command_line/options.hpp"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// hid read: opens the HID device (seized, or shared with --shared) and prints
// each input report on `out` (time, report ID and bytes in hex; with --json one
// object per line) until --count reports or SIGINT/SIGTERM, which cancels the
// pending read and closes the stream. Throws tool_error when the entry is not a
// HID device, cannot be opened (naming the program that holds it seized, or the
// Input Monitoring permission that is missing), or leaves while being read.
int run_hid_read(options const& chosen, std::FILE* out);

// hid write: opens the device as hid read does and sends the bytes as one output
// report; with --timeout, gives up when the device has not answered by then.
// Throws tool_error on failure.
int run_hid_write(options const& chosen);

// As run_hid_read and run_hid_write, on the registry as it stands: the commands
// load it first (the bundled registry, or the --registry dumps), these do not,
// for a caller that has set the registry up itself and plays the other programs
// around the device.
int read_hid_reports(options const& chosen, std::FILE* out);
int write_hid_report(options const& chosen);

// "0102ff", optionally separated by spaces or colons ("01:02 ff"); nothing when the
// text is not whole bytes in hexadecimal.
std::optional<std::vector<std::uint8_t>> parse_hex_bytes(std::string const& text);

// The longest --timeout hid write takes: IOKit ends a report request at 20
// minutes whatever the caller asks, so a longer wait could not be kept.
inline constexpr std::chrono::milliseconds longest_write_timeout{1'200'000};

// hid write --timeout: whole milliseconds in decimal, from 1 to
// longest_write_timeout; nothing otherwise (a zero timeout would give up before
// the device could answer).
std::optional<std::chrono::milliseconds> parse_write_timeout(std::string const& text);

// hid read --decode: each report as usage = value pairs, read by the device's
// report descriptor; a report the descriptor does not define is printed as bytes,
// with what is wrong with it.
// "22:40:01.123  id 3  01 02 03" (with a newline), or its JSON object.
std::string format_input_report(std::chrono::system_clock::time_point time, std::uint8_t report_id,
                                std::span<std::uint8_t const> bytes, bool json);

// "22:40:01.123  id 0  X = 12, Y = -3, Hat Switch = none" (with a newline), or its
// JSON object: "values", each with its usage page, usage, name and value (null for
// a value outside its logical range).
std::string format_decoded_report(std::chrono::system_clock::time_point time, std::uint8_t report_id,
                                  std::span<apple::hid_value const> values, bool json);

} // namespace plinth::ioreg_tool
