// Reading everything `show` tells about one entry, plane by plane.
#include "tools/plinth-ioreg/registry/entry_details.hpp"

#include <array>

namespace plinth::ioreg_tool {
namespace {

constexpr std::array all_planes = {plane::service, plane::power,    plane::device_tree,
                                   plane::audio,   plane::firewire, plane::usb};

std::vector<entry_summary> summarize_all(std::vector<walked_entry> const& entries, plane p)
{
    std::vector<entry_summary> summaries;
    summaries.reserve(entries.size());
    for (auto const& entry : entries)
        summaries.push_back(summarize(entry, p));
    return summaries;
}

} // namespace

entry_details read_entry_details(walked_entry const& entry, plane neighbours_plane)
{
    entry_details details;
    details.neighbours_plane = neighbours_plane;
    details.summary = summarize(entry, neighbours_plane);
    details.global_name = entry.device().get_name();
    for (auto const p : all_planes)
    {
        if (!entry.device().is_in_plane(p))
            continue;
        auto in_plane = summarize(entry, p);
        details.planes.push_back(
            {p, std::move(in_plane.name), std::move(in_plane.location), in_plane.path.value_or(std::string())});
    }
    details.properties = entry.device().get_properties();
    details.parents = summarize_all(entry.parents(neighbours_plane), neighbours_plane);
    details.children = summarize_all(entry.children(neighbours_plane), neighbours_plane);
    return details;
}

} // namespace plinth::ioreg_tool
