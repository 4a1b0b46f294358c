// Preparing the registry: reading --registry arguments and, where the I/O Kit is simulated, loading the bundled registry or the dumps.
#include "tools/plinth-ioreg/registry/registry_source.hpp"

#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/registry/plane_name.hpp"

#include <filesystem>
#include <utility>

#if !defined(__APPLE__)
#include "hid/recording.hpp"
#include "hid/recording_error.hpp"
#include "sim/control/hid_replay.hpp"
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#endif

namespace plinth::ioreg_tool {
namespace {

constexpr char const* standard_input_name = "-";

// "FILE" or "PLANE=FILE". A file that exists is taken as named, whatever it
// holds, so that any file can be given; only an argument that names no file is
// split at its first '=', and then the plane must be known (a typo says so rather
// than "cannot read"). "-" is standard input, in either form.
dump_argument split(std::string const& argument)
{
    auto const equals = argument.find('=');
    std::error_code ignored; // a name the system cannot look up names no file
    if (equals == std::string::npos || argument == standard_input_name || std::filesystem::exists(argument, ignored))
        return {"IOService", argument};
    return {argument.substr(0, equals), argument.substr(equals + 1)};
}

} // namespace

std::vector<dump_argument> read_dump_arguments(std::vector<std::string> const& dumps)
{
    std::vector<dump_argument> arguments;
    bool standard_input_read = false;
    for (auto const& text : dumps)
    {
        auto argument = split(text);
        (void)parse_plane(argument.plane); // the name is checked here; the loader takes it as text
        if (argument.file == standard_input_name && std::exchange(standard_input_read, true))
            throw tool_error("standard input (-) can be given only once");
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

#if defined(__APPLE__)

struct prepared_registry::replays
{
};

prepared_registry play_recordings(std::vector<std::string> const& recordings)
{
    if (!recordings.empty())
        throw tool_error("--replay needs the simulated I/O Kit; this host shows its own registry");
    return {};
}

prepared_registry prepare_registry(std::vector<std::string> const& dumps, std::vector<std::string> const& recordings)
{
    if (!dumps.empty())
        throw tool_error("--registry needs the simulated I/O Kit; this host shows its own registry");
    return play_recordings(recordings);
}

#else

struct prepared_registry::replays
{
    std::vector<std::unique_ptr<sim::hid_replay>> playing;
};

namespace {

// Said before loading, in the words of the system, so that the message names the file.
void check_readable(std::string const& file)
{
    std::ifstream const stream(file);
    if (!stream)
        throw tool_error(fmt::format("cannot read \"{}\": {}", file, std::strerror(errno)));
}

// Standard input is read through its device file, which every host of the
// simulated I/O Kit has, so that it goes through the same loader as any file; the
// loader's messages name it as the user did.
void load_standard_input(std::string const& plane)
{
    std::string const device = "/dev/stdin";
    try
    {
        sim::load_dump_file(device, plane);
    }
    catch (sim::dump_error const& e)
    {
        std::string message = e.what();
        if (message.starts_with(device))
            message.replace(0, device.size(), "standard input");
        throw tool_error(message);
    }
}

void load_registry(std::vector<std::string> const& dumps)
{
    if (dumps.empty())
    {
        sim::load_bundled_registry();
        return;
    }
    auto const arguments = read_dump_arguments(dumps);
    sim::reset_registry();
    for (auto const& [plane, file] : arguments)
    {
        if (file == standard_input_name)
        {
            load_standard_input(plane);
            continue;
        }
        check_readable(file);
        try
        {
            sim::load_dump_file(file, plane);
        }
        catch (sim::dump_error const& e)
        {
            throw tool_error(e.what());
        }
    }
}

apple::hid_recording read_recording(std::string const& file)
{
    check_readable(file);
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    try
    {
        return apple::hid_recording::parse(text.str());
    }
    catch (apple::hid_recording_error const& e)
    {
        throw tool_error(fmt::format("{}: line {}: {}", file, e.line(), e.problem()));
    }
}

} // namespace

prepared_registry play_recordings(std::vector<std::string> const& recordings)
{
    prepared_registry prepared;
    for (auto const& file : recordings)
    {
        auto const recording = read_recording(file);
        if (recording.devices.empty())
            throw tool_error(fmt::format("{}: the recording holds no device", file));
        for (std::size_t i = 0; i < recording.devices.size(); ++i)
        {
            try
            {
                prepared.replays_->playing.push_back(std::make_unique<sim::hid_replay>(recording, i));
            }
            catch (sim::dump_error const& e)
            {
                throw tool_error(fmt::format("{}: device {}: {}", file, i, e.what()));
            }
            catch (std::invalid_argument const& e)
            {
                throw tool_error(fmt::format("{}: device {}: {}", file, i, e.what()));
            }
        }
    }
    for (auto& replay : prepared.replays_->playing)
        replay->start();
    return prepared;
}

prepared_registry prepare_registry(std::vector<std::string> const& dumps, std::vector<std::string> const& recordings)
{
    load_registry(dumps);
    return play_recordings(recordings);
}

#endif

prepared_registry::prepared_registry() : replays_(std::make_unique<replays>()) {}
prepared_registry::~prepared_registry() = default;
prepared_registry::prepared_registry(prepared_registry&&) noexcept = default;
prepared_registry& prepared_registry::operator=(prepared_registry&&) noexcept = default;

} // namespace plinth::ioreg_tool
