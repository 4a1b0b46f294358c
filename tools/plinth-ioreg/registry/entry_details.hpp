// Everything `show` tells about one entry: its summary, its name, location and path in each plane, properties, parents and children.
#pragma once

#include "device/apple/plane.hpp"
#include "property/value.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/registry/walked_entry.hpp"

#include <optional>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// How an entry appears in one plane it is attached in.
struct plane_presence
{
    plane in;
    std::string name;
    std::optional<std::string> location;
    std::string path;
};

// Everything `show` tells about one entry.
struct entry_details
{
    plane neighbours_plane = plane::service; // the plane the parents and children are taken from
    entry_summary summary;                   // in that plane
    std::string global_name;                 // the entry's name outside any plane
    std::vector<plane_presence> planes;      // every plane the entry is attached in
    property::dictionary properties;
    std::vector<entry_summary> parents;
    std::vector<entry_summary> children;
};

entry_details read_entry_details(walked_entry const& entry, plane neighbours_plane);

} // namespace plinth::ioreg_tool
