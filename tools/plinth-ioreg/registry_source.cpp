#include "tools/plinth-ioreg/registry_source.hpp"

#include "tools/plinth-ioreg/tool_error.hpp"

#if !defined(__APPLE__)
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"
#include "tools/plinth-ioreg/plane_name.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#endif

namespace plinth::ioreg_tool {

#if defined(__APPLE__)

void prepare_registry(std::vector<std::string> const& dumps)
{
    if (!dumps.empty())
        throw tool_error("--registry needs the simulated I/O Kit; this host shows its own registry");
}

#else

namespace {

struct dump_argument
{
    std::string plane = "IOService";
    std::string file;
};

// "PLANE=FILE" or "FILE". A plane name has no slash, so "dir/a=b.txt" is a file.
dump_argument split(std::string const& argument)
{
    auto const equals = argument.find('=');
    if (equals == std::string::npos || equals == 0 || argument.find('/') < equals)
        return {"IOService", argument};
    return {argument.substr(0, equals), argument.substr(equals + 1)};
}

// Said before loading, in the words of the system, so that the message names the file.
void check_readable(std::string const& file)
{
    std::ifstream const stream(file);
    if (!stream)
        throw tool_error(fmt::format("cannot read \"{}\": {}", file, std::strerror(errno)));
}

} // namespace

void prepare_registry(std::vector<std::string> const& dumps)
{
    if (dumps.empty()) {
        sim::load_bundled_registry();
        return;
    }
    sim::reset_registry();
    for (auto const& argument : dumps) {
        auto const [plane, file] = split(argument);
        (void)parse_plane(plane); // the name is checked here; the loader takes it as text
        check_readable(file);
        try {
            sim::load_dump_file(file, plane);
        }
        catch (sim::dump_error const& e) {
            throw tool_error(e.what());
        }
    }
}

#endif

} // namespace plinth::ioreg_tool
