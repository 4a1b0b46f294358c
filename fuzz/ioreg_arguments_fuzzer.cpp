// Feeds bytes to plinth-ioreg's command line as its arguments (split at NUL or
// newline), then does what the tool does with the options before it runs a
// command: checks the plane, reads the --registry arguments without loading
// them, and looks the entry of `show` up by path or ID, or searches the tree as
// `tree -c/-n/-k` does, in the bundled registry. Nothing here writes a file, reads
// standard input or waits: watch and hid read/write are parsed, never run.
#include "fuzz/support/registry_checks.hpp"
#include "sim/control/registry.hpp"
#include "tools/plinth-ioreg/command_line/command.hpp"
#include "tools/plinth-ioreg/command_line/options.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/output/text_printer.hpp"
#include "tools/plinth-ioreg/registry/entry_details.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/registry/path_component.hpp"
#include "tools/plinth-ioreg/registry/plane_name.hpp"
#include "tools/plinth-ioreg/registry/registry_source.hpp"
#include "tools/plinth-ioreg/walk/registry_search.hpp"

#include <boost/system/system_error.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace tool = plinth::ioreg_tool;

// More arguments add nothing that a few do not reach.
constexpr std::size_t max_arguments = 32;

std::vector<std::string> split_arguments(std::string_view bytes)
{
    std::vector<std::string> arguments;
    while (!bytes.empty() && arguments.size() < max_arguments)
    {
        auto const end = bytes.find_first_of(std::string_view("\0\n", 2));
        arguments.emplace_back(bytes.substr(0, end));
        if (end == std::string_view::npos)
            break;
        bytes.remove_prefix(end + 1);
    }
    return arguments;
}

// What the tree and show commands do, minus loading the registry (the
// bundled one stays loaded for the whole run) and writing the output.
void look_up(tool::options const& chosen, plinth::plane p)
{
    plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    auto const& command = chosen.command_to_run->name;
    if (command == "show")
    {
        if (chosen.path)
            (void)tool::last_path_component(*chosen.path);
        auto const entry =
            chosen.id ? tool::find_by_id(registry, *chosen.id) : tool::find_by_path(registry, *chosen.path, p);
        (void)tool::format_entry_details(tool::read_entry_details(entry, p));
        return;
    }
    if (command != "tree" || !chosen.search.any())
        return;
    tool::registry_search const search(p, chosen.search, chosen.scope, chosen.properties);
    auto const root = tool::find_root(registry);
    if (chosen.scope.subtrees)
        (void)search.subtrees_of_matches(root);
    else
        (void)search.entries_above_matches(root);
}

void check_exit_status(int status)
{
    if (status == 0 || status == 1 || status == 2)
        return;
    std::fprintf(stderr, "the command line ended with status %d\n", status);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    plinth::sim::load_bundled_registry();
    // Help and the version are printed to std::cout; the run needs none of it.
    static std::ostringstream discarded;
    std::cout.rdbuf(discarded.rdbuf());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    auto arguments = split_arguments(std::string_view(reinterpret_cast<char const*>(bytes), size));
    arguments.insert(arguments.begin(), "plinth-ioreg");
    std::vector<char const*> argv;
    for (auto const& argument : arguments)
        argv.push_back(argument.c_str());
    argv.push_back(nullptr);

    std::cout.clear();
    auto const parsed = tool::parse_command_line(static_cast<int>(arguments.size()), argv.data());
    if (parsed.exit_status)
    {
        check_exit_status(*parsed.exit_status);
    }
    else
    {
        try
        {
            auto const p = tool::parse_plane(parsed.value.plane);
            (void)tool::read_dump_arguments(parsed.value.registries);
            if (parsed.value.registries.empty())
                look_up(parsed.value, p);
        }
        catch (tool::tool_error const&)
        {
            // what the user can correct, said in one line
        }
    }
    plinth::fuzzing::require_nothing_left();
    return 0;
}
