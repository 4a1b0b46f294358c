#include "tools/plinth-ioreg/registry/entry_report.hpp"

#include "tools/plinth-ioreg/properties/property_reader.hpp"

#include <array>

namespace plinth::ioreg_tool {
namespace {

constexpr std::array all_planes = {plane::service, plane::power,    plane::device_tree,
                                   plane::audio,   plane::firewire, plane::usb};

std::vector<entry_summary> summarize_all(std::vector<registry_entry> const& entries, plane p)
{
    std::vector<entry_summary> summaries;
    summaries.reserve(entries.size());
    for (auto const& entry : entries)
        summaries.push_back(summarize(entry, p));
    return summaries;
}

} // namespace

entry_report report_entry(registry_entry const& entry, plane neighbours_plane)
{
    entry_report report;
    report.neighbours_plane = neighbours_plane;
    report.summary = summarize(entry, neighbours_plane);
    report.global_name = entry.device().get_name();
    for (auto const p : all_planes) {
        if (!entry.device().is_in_plane(p))
            continue;
        auto in_plane = summarize(entry, p);
        report.planes.push_back({p, std::move(in_plane.name), std::move(in_plane.location),
                                 in_plane.path.value_or(std::string())});
    }
    report.properties = read_properties(entry);
    report.parents = summarize_all(entry.parents(neighbours_plane), neighbours_plane);
    report.children = summarize_all(entry.children(neighbours_plane), neighbours_plane);
    return report;
}

} // namespace plinth::ioreg_tool
