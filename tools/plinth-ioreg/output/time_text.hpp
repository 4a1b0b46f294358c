// Timestamps as the live commands print them: local time of day for people, UTC ISO 8601 for scripts.
#pragma once

#include <chrono>
#include <string>

namespace plinth::ioreg_tool {

// "22:40:01.123": local time of day to the millisecond, for people.
std::string local_time_of_day(std::chrono::system_clock::time_point time);

// "2026-11-22T22:40:01.123Z": UTC in ISO 8601, for scripts.
std::string utc_timestamp(std::chrono::system_clock::time_point time);

} // namespace plinth::ioreg_tool
