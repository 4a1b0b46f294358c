// The registry an unmodified Mac program finds: the dumps PLINTH_SIM_REGISTRY names, loaded as the library loads.
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <system_error>
#include <string>
#include <string_view>

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

// A program written for a Mac calls no function of this simulation's control
// interface, so it would find an empty registry: the environment names what to
// load instead, before main runs. Unset, the registry starts empty as before.
// A dump that cannot be read ends the program with one line saying why, rather
// than let it run against a registry other than the one asked for.
struct registry_from_environment
{
    registry_from_environment()
    {
        char const* const value = std::getenv("PLINTH_SIM_REGISTRY");
        if (value == nullptr || *value == '\0')
            return;
        std::string_view rest(value);
        try
        {
            while (!rest.empty())
            {
                auto const colon = rest.find(':');
                load_one(rest.substr(0, colon));
                rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
            }
        }
        catch (std::exception const& e)
        {
            std::fprintf(stderr, "PLINTH_SIM_REGISTRY=%s: %s\n", value, e.what());
            std::exit(EXIT_FAILURE);
        }
    }
};

registry_from_environment const loaded_at_start;

} // namespace
} // namespace plinth::sim
