// hid_recording: a recording of HID devices (descriptor, identity, timed reports) as the Linux recorder writes it.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace plinth::apple {

// One report with the time it came or went, counted from the start of the
// recording. An input report's bytes begin with its report ID when the device
// numbers its reports, as the device sends them.
struct hid_recorded_report
{
    std::chrono::microseconds time{0};
    std::vector<std::uint8_t> bytes;

    friend bool operator==(hid_recorded_report const&, hid_recorded_report const&) = default;
};

// The bus and the numbers that identify a device, as the Linux recorder writes
// them: bus 3 is USB, 5 Bluetooth, 0x18 I2C, 6 virtual.
struct hid_recorded_identity
{
    std::uint16_t bus = 0;
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;

    friend bool operator==(hid_recorded_identity const&, hid_recorded_identity const&) = default;
};

// One device of a recording: what the Linux format holds, then what a Mac adds.
struct hid_recorded_device
{
    std::vector<std::uint8_t> descriptor;
    std::string name;
    std::optional<std::string> physical_path;
    std::optional<hid_recorded_identity> identity;
    // In the order they came; times never go backwards.
    std::vector<hid_recorded_report> inputs;

    // The device's registry entries (its HID service and the device above it) as
    // `ioreg -a` writes them, or empty.
    std::string registry;
    // What the device answered when asked for a feature report, by report ID.
    std::map<std::uint8_t, std::vector<std::uint8_t>> feature_answers;
    // The output and feature reports the device received, each in the order
    // they came, with the report ID first as for input reports.
    std::vector<hid_recorded_report> outputs;
    std::vector<hid_recorded_report> features;

    friend bool operator==(hid_recorded_device const&, hid_recorded_device const&) = default;
};

// A recording of one or more devices, numbered from 0 by their place here. The
// text is the Linux recorder's format; what a Mac adds is written in comment
// lines that other readers skip (see docs/hid-recordings.md).
struct hid_recording
{
    std::vector<hid_recorded_device> devices;

    // Reads a recording. Throws hid_recording_error, naming the line, for a known
    // line with bad content: bad hex, a length that disagrees with its bytes, a
    // time that goes backwards, a report before its device's descriptor, a line
    // cut short. Comments and lines of unknown kinds are skipped.
    static hid_recording parse(std::string_view text);

    // The whole recording as text: each device's header, then every report of all
    // devices in the order of their times.
    std::string format() const;

    friend bool operator==(hid_recording const&, hid_recording const&) = default;
};

} // namespace plinth::apple
