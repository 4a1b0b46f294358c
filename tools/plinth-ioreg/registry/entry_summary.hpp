// What identifies an entry in one plane (ID, class, name, location, path), and how the tool writes an ID.
#pragma once

#include "device/apple/plane.hpp"
#include "tools/plinth-ioreg/registry/walked_entry.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace plinth::ioreg_tool {

// What identifies an entry in one plane: the header ioreg prints for it.
struct entry_summary
{
    std::uint64_t id = 0;
    std::string class_name;
    std::string name;                    // the name in the plane
    std::optional<std::string> location; // the location in the plane, when it has one
    std::optional<std::string> path;     // the registry path, when asked for and the entry has one
                                         // (the root has none)
};

// Whether the summary keeps the registry path. The path is read either way, since
// it carries the name and location in one call; a listing that shows no paths
// leaves it out.
enum class path_reading
{
    read,
    skip,
};

entry_summary summarize(walked_entry const& entry, plane p, path_reading path = path_reading::read);

// How the tool writes a registry entry ID, in text and JSON alike: "0x" and
// lower-case hexadecimal digits, which `show --id` takes back. A string in JSON,
// since IDs use all 64 bits and many JSON readers keep numbers in doubles.
std::string format_entry_id(std::uint64_t id);

} // namespace plinth::ioreg_tool
