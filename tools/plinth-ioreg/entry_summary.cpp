#include "tools/plinth-ioreg/entry_summary.hpp"

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
    try {
        return query();
    }
    catch (boost::system::system_error const&) {
        return std::nullopt;
    }
}

} // namespace

std::string format_entry_id(std::uint64_t id)
{
    return fmt::format("{:#x}", id);
}

entry_summary summarize(registry_entry const& entry, plane p, path_reading path)
{
    auto const& device = entry.device();
    entry_summary summary;
    summary.id = device.get_id();
    summary.class_name = device.get_class();
    summary.name = device.get_name(p);
    summary.location = optional_text([&] { return device.get_location(p); });
    if (path == path_reading::read)
        summary.path = optional_text([&] { return device.get_path(p); });
    return summary;
}

} // namespace plinth::ioreg_tool
