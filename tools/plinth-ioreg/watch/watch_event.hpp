// One entry arriving or leaving as watch reports it, and its line of text or JSON.
#pragma once

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <string>

namespace plinth::ioreg_tool {

// One registry entry arriving or leaving, as the watch command reports it.
struct watch_event
{
    std::chrono::system_clock::time_point time;
    bool arrived = true;
    std::string class_name;
    std::string name;
    std::uint64_t id = 0;
    std::string path; // empty when the entry left before its path was known
};

// "22:40:01.123 + IOUSBHostDevice Mouse 0x100000a2c IOService:/...", one line.
std::string format_watch_event(watch_event const& event);

// {"time": "2026-11-22T22:40:01.123Z", "event": "arrived" | "left", "class", "name", "id", "path"}.
nlohmann::ordered_json watch_event_to_json(watch_event const& event);

} // namespace plinth::ioreg_tool
