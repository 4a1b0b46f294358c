// Summarizing an entry in one plane from its path, with the name and location queries only where the path cannot tell.
#include "tools/plinth-ioreg/registry/entry_summary.hpp"

#include "tools/plinth-ioreg/registry/path_component.hpp"

#include <boost/system/system_error.hpp>
#include <fmt/format.h>

namespace plinth::ioreg_tool {
namespace {

// IOKit reports "no location" (kIOReturnNotFound) and "no path" (the root, which
// is in no plane) as errors; for a listing both are just absent fields. Any
// failure of these two queries means the field is absent: the entry itself was
// read a moment ago.
template <typename Query>
std::optional<std::string> optional_text(Query&& query)
{
    try
    {
        return query();
    }
    catch (boost::system::system_error const&)
    {
        return std::nullopt;
    }
}

} // namespace

std::string format_entry_id(std::uint64_t id)
{
    return fmt::format("{:#x}", id);
}

entry_summary summarize(walked_entry const& entry, plane p, path_reading path)
{
    auto const& device = entry.device();
    entry_summary summary;
    summary.id = device.get_id();
    summary.class_name = device.get_class();
    // One call for the path gives the name and location too, where its last
    // component tells them apart for sure; elsewhere (the root and the plane's top
    // entry, an '@' too many, a path longer than io_string_t) both are asked for.
    auto full_path = optional_text([&] { return device.get_path(p); });
    auto named = full_path ? last_path_component(*full_path) : std::nullopt;
    if (named)
    {
        summary.name = std::move(named->name);
        summary.location = std::move(named->location);
    }
    else
    {
        summary.name = device.get_name(p);
        summary.location = optional_text([&] { return device.get_location(p); });
    }
    if (path == path_reading::read)
        summary.path = std::move(full_path);
    return summary;
}

} // namespace plinth::ioreg_tool
