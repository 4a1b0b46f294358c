#pragma once

#include "tools/plinth-ioreg/walk/search_criteria.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

enum class command
{
    tree,
    show,
    usb,
    pci,
    serial,
    watch,
    hid,
    hid_read,
    hid_write,
};

// What the command line asks for.
struct options
{
    command what = command::tree;
    std::string plane = "IOService";
    bool json = false;
    bool properties = false;              // tree: the property block under each entry
    search_criteria search;               // tree: the entries to look for (-c, -n, -k)
    search_scope scope;                   // tree: what to show around them (-r, -d)
    bool verbose = false;                 // usb: each device's descriptor too
    std::vector<std::string> registries;  // "[PLANE=]FILE" dumps ("-": standard input) to load instead of the default registry
    std::optional<std::string> path;      // show: the entry by registry path
    std::optional<std::uint64_t> id;      // show: the entry by registry entry ID
    std::vector<std::string> classes;     // watch: the classes to watch (every service when empty)
    bool simulate_hotplug = false;        // watch: plug and unplug a bundled device every second
    std::optional<std::size_t> count;     // hid read: stop after this many reports
    std::vector<std::uint8_t> report;     // hid write: the output report's bytes
};

// The command line's outcome: the options to run with, or, after help, the
// version or a usage error (printed by then), the status to exit with.
struct parsed_command_line
{
    options value;
    std::optional<int> exit_status;
};

// Help and the version go to standard output and exit with status 0. A usage
// error is one line on standard error, "plinth-ioreg: " and what is wrong, and
// exits with status 2, which scripts tell from a failed lookup's 1.
parsed_command_line parse_command_line(int argc, char const* const* argv);

// A registry entry ID as typed: decimal, or hexadecimal after "0x"; nothing when
// the text is neither or does not fit in 64 bits.
std::optional<std::uint64_t> parse_entry_id(std::string const& text);

} // namespace plinth::ioreg_tool
