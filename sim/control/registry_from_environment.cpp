// The machine an unmodified Mac program finds: the dumps PLINTH_SIM_REGISTRY names and the recorded devices
// PLINTH_SIM_REPLAY plays, set up as the library loads.
#include "hid/recording.hpp"
#include "hid/recording_error.hpp"
#include "sim/control/hid_replay.hpp"
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <string>
#include <string_view>
#include <vector>

namespace plinth::sim {
namespace {

// "bundled", a dump file, or PLANE=FILE, as the registry tool's --registry takes
// them: a file that exists is read as named, and only a name of no file is split
// at its first '='.
void load_one(std::string_view piece)
{
    if (piece == "bundled")
    {
        load_bundled_registry();
        return;
    }
    std::string const text(piece);
    auto const equals = text.find('=');
    std::error_code ignored; // a name the system cannot look up names no file
    if (equals == std::string::npos || std::filesystem::exists(text, ignored))
        load_dump_file(text);
    else
        load_dump_file(text.substr(equals + 1), text.substr(0, equals));
}

// The replays PLINTH_SIM_REPLAY started. They are never destroyed, as that would
// remove their devices while the process exits, under whatever the program left
// listening; they are only stopped, before the simulation's state goes.
std::vector<std::unique_ptr<hid_replay>>* environment_replays = nullptr;

void stop_environment_replays()
{
    for (auto const& replay : *environment_replays)
        replay->stop();
}

// Every device of the recording in `file`, played as fast as the program reads
// it, from when it first reads, and unplugged after its last report: a program
// that runs until its device goes away ends once it has seen everything.
void replay_file(std::string const& file, std::vector<std::unique_ptr<hid_replay>>& replays)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error(fmt::format("{}: cannot be read", file));
    std::ostringstream text;
    text << stream.rdbuf();
    apple::hid_recording recording;
    try
    {
        recording = apple::hid_recording::parse(text.str());
    }
    catch (apple::hid_recording_error const& e)
    {
        throw std::runtime_error(fmt::format("{}: line {}: {}", file, e.line(), e.problem()));
    }
    if (recording.devices.empty())
        throw std::runtime_error(fmt::format("{}: the recording holds no device", file));
    for (std::size_t i = 0; i < recording.devices.size(); ++i)
    {
        replay_options options;
        options.pace = replay_pace::as_fast_as_read;
        options.remove_at_end = true;
        options.wait_for_reader = true;
        options.removal_delay = std::chrono::milliseconds(250);
        try
        {
            replays.push_back(std::make_unique<hid_replay>(recording, i, options));
        }
        catch (std::exception const& e)
        {
            throw std::runtime_error(fmt::format("{}: device {}: {}", file, i, e.what()));
        }
        // Registered once the first replay has made the simulation's state, so
        // that it runs before that state is torn down.
        if (replays.size() == 1)
            std::atexit(stop_environment_replays);
        replays.back()->start();
    }
}

// Calls `each` with every colon-separated piece of `value`.
template <typename Each>
void for_each_piece(std::string_view value, Each&& each)
{
    while (!value.empty())
    {
        auto const colon = value.find(':');
        each(value.substr(0, colon));
        value = colon == std::string_view::npos ? std::string_view{} : value.substr(colon + 1);
    }
}

// A program written for a Mac calls no function of this simulation's control
// interface, so it would find an empty registry: the environment names what to
// load instead, before main runs. Unset, the registry starts empty as before.
// A dump that cannot be read ends the program with one line saying why, rather
// than let it run against a registry other than the one asked for.
struct registry_from_environment
{
    registry_from_environment()
    {
        if (char const* const value = std::getenv("PLINTH_SIM_REGISTRY"); value != nullptr && *value != '\0')
            try
            {
                for_each_piece(value, load_one);
            }
            catch (std::exception const& e)
            {
                std::fprintf(stderr, "PLINTH_SIM_REGISTRY=%s: %s\n", value, e.what());
                std::exit(EXIT_FAILURE);
            }
        if (char const* const value = std::getenv("PLINTH_SIM_REPLAY"); value != nullptr && *value != '\0')
            try
            {
                environment_replays = new std::vector<std::unique_ptr<hid_replay>>;
                for_each_piece(value,
                               [](std::string_view file) { replay_file(std::string(file), *environment_replays); });
            }
            catch (std::exception const& e)
            {
                std::fprintf(stderr, "PLINTH_SIM_REPLAY=%s: %s\n", value, e.what());
                std::exit(EXIT_FAILURE);
            }
    }
};

registry_from_environment const loaded_at_start;

} // namespace
} // namespace plinth::sim
