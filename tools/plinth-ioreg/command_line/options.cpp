// plinth-ioreg's command line: the global options, and every command of the command table with its options.
#include "tools/plinth-ioreg/command_line/options.hpp"

#include "tools/plinth-ioreg/command_line/command_table.hpp"

#include <CLI/CLI.hpp>

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <iostream>

// The build names the version; a compilation outside it (the check against
// Apple's SDK) has none to give.
#if !defined(PLINTH_IOREG_VERSION)
#define PLINTH_IOREG_VERSION "(unknown version)"
#endif

namespace plinth::ioreg_tool {
namespace {

constexpr int usage_error_status = 2;

// Adds the command of `row`, its options and its subcommands below `parent`. The
// command given last is the one that runs; a subcommand given after its command
// ("hid read") runs instead of it.
void add_command(CLI::App& parent, command const& row, options& chosen)
{
    auto* app = parent.add_subcommand(std::string(row.name), std::string(row.help));
    auto finish = row.add_options ? row.add_options(*app, chosen) : std::function<void()>();
    for (auto const& subcommand : row.subcommands)
        add_command(*app, subcommand, chosen);
    // CLI11 calls a subcommand's callback before its command's.
    app->callback([app, &row, &chosen, finish = std::move(finish)] {
        if (finish)
            finish();
        if (app->get_subcommands().empty())
            chosen.command_to_run = &row;
    });
}

// What the top level kept because nothing else took it: a word where a command
// should be, an option no command has, or a word after the command.
void check_leftovers(CLI::App const& app)
{
    auto const left = app.remaining();
    bool const has_command = !app.get_subcommands().empty();
    if (left.empty())
    {
        if (!has_command)
            throw CLI::RequiredError(fmt::format("a command ({})", command_names()));
        return;
    }
    auto const& first = left.front();
    if (first.starts_with('-'))
        throw CLI::ExtrasError(fmt::format("unknown option \"{}\"", first), CLI::ExitCodes::ExtrasError);
    if (!has_command)
        throw CLI::ExtrasError(fmt::format("unknown command \"{}\"", first), CLI::ExitCodes::ExtrasError);
    throw CLI::ExtrasError(fmt::format("unexpected argument \"{}\"", first), CLI::ExitCodes::ExtrasError);
}

// Help and the version go to standard output; a failed write is an error like any other.
int flushed_standard_output()
{
    if (std::cout.flush())
        return 0;
    std::fprintf(stderr, "plinth-ioreg: cannot write the output\n");
    return 1;
}

int print_requested_text(CLI::App const& app, CLI::ParseError const& request)
{
    (void)app.exit(request, std::cout, std::cerr);
    return flushed_standard_output();
}

int usage_error(std::string const& message)
{
    std::fprintf(stderr, "plinth-ioreg: %s\n", message.c_str());
    return usage_error_status;
}

} // namespace

std::optional<std::uint64_t> parse_entry_id(std::string const& text)
{
    int base = 10;
    std::string_view digits(text);
    if (digits.starts_with("0x") || digits.starts_with("0X"))
    {
        base = 16;
        digits.remove_prefix(2);
    }
    std::uint64_t id = 0;
    auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), id, base);
    if (digits.empty() || error != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    return id;
}

parsed_command_line parse_command_line(int argc, char const* const* argv)
{
    parsed_command_line parsed;
    auto& chosen = parsed.value;

    CLI::App app("Shows the I/O Registry as ioreg does: the tree of a plane, or one entry in full.", "plinth-ioreg");
    // Global options may also follow the command ("plinth-ioreg tree --json").
    app.fallthrough();
    app.footer("Exit status: 0 on success, 1 when the command cannot do what was asked (an unknown plane, "
               "path or ID, a dump that cannot be read, output that cannot be written), 2 for a command "
               "line it does not understand.");
    app.set_version_flag("--version", "plinth-ioreg " PLINTH_IOREG_VERSION, "Print the version and exit");
    app.add_option("--registry", chosen.registries,
                   "Load this registry dump (ioreg -a XML or ioreg -l text; - for standard input) into "
                   "the simulated I/O Kit instead of the bundled registry; repeat to merge several, by "
                   "registry entry ID. An existing FILE is always read as it is named; any other "
                   "argument is split at its first '=' into PLANE=FILE")
        ->type_name("[PLANE=]FILE")
        ->allow_extra_args(false);
    app.add_option("--replay", chosen.replays,
                   "Add the HID devices of this recording (the Linux recorder's text format, or one "
                   "made with hid record) to the simulated registry, each playing its reports in real "
                   "time from the start of the command; repeat for more")
        ->type_name("FILE")
        ->allow_extra_args(false);
    app.add_flag("--json", chosen.json, "Write JSON instead of ioreg's text layout");

    for (auto const& row : command_table())
        add_command(app, row, chosen);

    // Set after the commands, which would inherit it: only the top level keeps
    // what it does not know, to name it in the message below.
    app.allow_extras();

    try
    {
        app.parse(argc, argv);
        check_leftovers(app);
    }
    catch (CLI::CallForVersion const& version)
    {
        std::cout << version.what() << '\n';
        parsed.exit_status = flushed_standard_output();
    }
    catch (CLI::ParseError const& e)
    {
        parsed.exit_status = e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)
                                 ? print_requested_text(app, e)
                                 : usage_error(e.what());
    }
    return parsed;
}

} // namespace plinth::ioreg_tool
