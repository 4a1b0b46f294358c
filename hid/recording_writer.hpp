// hid_recording_writer: writes a HID recording line by line, flushed as it goes.
#pragma once

#include "hid/recording.hpp"

#include <cstddef>
#include <optional>
#include <ostream>
#include <string_view>

namespace plinth::apple {

// Writes a recording to a stream as it is made: a device's header first, then
// its reports as they come. Every call ends with whole lines and a flush, so that
// a recording cut short (Ctrl-C, a crash) is still a valid file up to its last
// report. A `D:` line is written whenever the device written about changes.
class hid_recording_writer
{
public:
    explicit hid_recording_writer(std::ostream& out);

    // "# text", one comment line per line of `text`.
    void comment(std::string_view text);
    // Device `index`'s header: its descriptor, name, path, identity, and what a
    // Mac adds (registry entries, feature answers). Its reports are not written.
    void device(std::size_t index, hid_recorded_device const& header);
    void input(std::size_t index, hid_recorded_report const& report);
    void output(std::size_t index, hid_recorded_report const& report);
    void feature(std::size_t index, hid_recorded_report const& report);

private:
    void select(std::size_t index);
    void timed(std::size_t index, std::string_view kind, hid_recorded_report const& report);

    std::ostream& out_;
    std::optional<std::size_t> current_;
};

} // namespace plinth::apple
