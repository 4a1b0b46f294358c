#include "tools/plinth-ioreg/watch_event.hpp"

#include "tools/plinth-ioreg/entry_summary.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace plinth::ioreg_tool {
namespace {

// Local time for people, to the millisecond.
std::string local_time_of_day(std::chrono::system_clock::time_point time)
{
    auto const millis = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() % 1000;
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(std::chrono::system_clock::to_time_t(time)), millis);
}

// UTC for scripts, in ISO 8601.
std::string utc_timestamp(std::chrono::system_clock::time_point time)
{
    auto const millis = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() % 1000;
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(time)), millis);
}

} // namespace

std::string format_watch_event(watch_event const& event)
{
    return fmt::format("{} {} {} {} {:#x} {}\n", local_time_of_day(event.time), event.arrived ? '+' : '-',
                       event.class_name, event.name, event.id, event.path.empty() ? "-" : event.path);
}

nlohmann::ordered_json watch_event_to_json(watch_event const& event)
{
    nlohmann::ordered_json json;
    json["time"] = utc_timestamp(event.time);
    json["event"] = event.arrived ? "arrived" : "left";
    json["class"] = event.class_name;
    json["name"] = event.name;
    json["id"] = format_entry_id(event.id);
    json["path"] = event.path.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(event.path);
    return json;
}

} // namespace plinth::ioreg_tool
