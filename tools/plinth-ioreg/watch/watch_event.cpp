// One entry arriving or leaving as watch prints it: a line of text, or a JSON object.
#include "tools/plinth-ioreg/watch/watch_event.hpp"

#include "tools/plinth-ioreg/output/time_text.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"

#include <fmt/format.h>

namespace plinth::ioreg_tool {

std::string format_watch_event(watch_event const& event)
{
    return fmt::format("{} {} {} {} {:#x} {}\n", local_time_of_day(event.time), event.arrived ? '+' : '-',
                       event.class_name, event.name, event.id, event.path.empty() ? "-" : event.path);
}

nlohmann::ordered_json watch_event_to_json(watch_event const& event)
{
    nlohmann::ordered_json object;
    object["time"] = utc_timestamp(event.time);
    object["event"] = event.arrived ? "arrived" : "left";
    object["class"] = event.class_name;
    object["name"] = event.name;
    object["id"] = format_entry_id(event.id);
    object["path"] = event.path.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(event.path);
    return object;
}

} // namespace plinth::ioreg_tool
