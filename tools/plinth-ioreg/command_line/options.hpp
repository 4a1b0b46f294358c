// What plinth-ioreg's command line asks for, and the parser that reads it through the command table.
#pragma once

#include "tools/plinth-ioreg/walk/search_criteria.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

struct command;

// What the command line asks for.
struct options
{
    command const* command_to_run = nullptr; // a row of command_table(), once the command line is read
    std::string plane = "IOService";
    bool json = false;
    bool properties = false; // tree: the property block under each entry
    search_criteria search;  // tree: the entries to look for (-c, -n, -k)
    search_scope scope;      // tree: what to show around them (-r, -d)
    bool verbose = false;    // usb: each device's descriptor too
    std::vector<std::string>
        registries; // "[PLANE=]FILE" dumps ("-": standard input) to load instead of the default registry
    std::vector<std::string> replays;                // HID recordings whose devices play in the simulated registry
    std::optional<std::string> path;                 // show: the entry by registry path
    std::optional<std::uint64_t> id;                 // show, hid describe, read, write: the entry by registry entry ID
    std::vector<std::string> watched_classes;        // watch: the classes to watch (every service when empty)
    bool simulate_hotplug = false;                   // watch: plug and unplug a bundled device every second
    std::optional<std::size_t> count;                // hid read, record: stop after this many reports
    std::optional<std::chrono::seconds> record_time; // hid record: stop after this long
    std::optional<std::string> output_file;          // hid record: the recording's file (standard output when none)
    bool decode = false;                             // hid read: usage = value pairs instead of bytes
    std::optional<std::size_t> queue;                // hid read: keep reports in a read queue of this many
    bool drop_oldest = false;                        // hid read: a full queue drops its oldest, not the newest
    std::vector<std::uint8_t> output_report;         // hid write: the output report's bytes
    bool shared = false;                             // hid read, write: open the device shared, not seized
    std::optional<std::chrono::milliseconds> write_timeout; // hid write: give up after this long
};

// The command line's outcome: the options to run with, or, after help, the
// version or a usage error (printed by then), the status to exit with.
struct parsed_command_line
{
    options value;
    std::optional<int> exit_status;
};

// Reads the command line against the command table. Help and the version go to
// standard output and exit with status 0. A usage error (an unknown command or
// option among them) is one line on standard error, "plinth-ioreg: " and what is
// wrong, and exits with status 2, which scripts tell from a failed lookup's 1.
// Without an exit status, value.command_to_run is the command to run.
parsed_command_line parse_command_line(int argc, char const* const* argv);

// A registry entry ID as typed: decimal, or hexadecimal after "0x"; nothing when
// the text is neither or does not fit in 64 bits.
std::optional<std::uint64_t> parse_entry_id(std::string const& text);

} // namespace plinth::ioreg_tool
