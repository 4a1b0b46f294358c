// Timestamps to the millisecond: local time of day, and UTC in ISO 8601.
#include "tools/plinth-ioreg/output/time_text.hpp"

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace plinth::ioreg_tool {
namespace {

long long milliseconds_of(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count() % 1000;
}

} // namespace

std::string local_time_of_day(std::chrono::system_clock::time_point time)
{
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(std::chrono::system_clock::to_time_t(time)),
                       milliseconds_of(time));
}

std::string utc_timestamp(std::chrono::system_clock::time_point time)
{
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(std::chrono::system_clock::to_time_t(time)),
                       milliseconds_of(time));
}

} // namespace plinth::ioreg_tool
