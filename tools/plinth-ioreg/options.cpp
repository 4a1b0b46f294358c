#include "tools/plinth-ioreg/options.hpp"

#include <CLI/CLI.hpp>

#include <charconv>

namespace plinth::ioreg_tool {
namespace {

constexpr int usage_error_status = 2;

void add_plane_option(CLI::App& command, options& chosen, char const* what)
{
    command.add_option("--plane", chosen.plane, what)->type_name("NAME")->capture_default_str();
}

void add_watch_command(CLI::App& app, options& chosen)
{
    auto* watch = app.add_subcommand(
        "watch", "Print each matching entry that arrives or leaves (time, +/-, class, name, ID, path) until Ctrl-C");
    watch->add_option("--class", chosen.classes, "Watch entries of this class or a subclass; repeat for several "
                                                 "(default: every service)")
        ->type_name("NAME")
        ->allow_extra_args(false);
    watch->add_flag("--simulate-hotplug", chosen.simulate_hotplug,
                    "Where the I/O Kit is simulated, unplug and plug back a USB device of the bundled registry "
                    "every second");
    watch->callback([&chosen] { chosen.what = command::watch; });
}

} // namespace

std::optional<std::uint64_t> parse_entry_id(std::string const& text)
{
    int base = 10;
    std::string_view digits(text);
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
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

    CLI::App app("Shows the I/O Registry as ioreg does: the tree of a plane, or one entry in full.",
                 "plinth-ioreg");
    // Global options may also follow the command ("plinth-ioreg tree --json").
    app.fallthrough();
    app.require_subcommand(1);
    app.add_option("--registry", chosen.registries,
                   "Load this registry dump (ioreg -a XML or ioreg -l text) into the simulated I/O Kit "
                   "instead of the bundled registry; repeat to merge several, by registry entry ID")
        ->type_name("[PLANE=]FILE")
        ->allow_extra_args(false);
    app.add_flag("--json", chosen.json, "Write JSON instead of ioreg's text layout");

    auto* tree = app.add_subcommand("tree", "The registry from its root, in one plane");
    add_plane_option(*tree, chosen, "The plane to walk");
    tree->add_flag("--properties,-l", chosen.properties, "Show every entry's properties, as ioreg -l does");
    tree->callback([&chosen] { chosen.what = command::tree; });

    auto* show = app.add_subcommand("show", "One entry: names, paths, properties, parents and children");
    add_plane_option(*show, chosen, "The plane of the parents and children shown (and of a path without one)");
    std::string path;
    std::string id_text;
    auto* path_option = show->add_option("path", path, "The entry's registry path, e.g. IOService:/AppleACPIPlatformExpert");
    auto* id_option = show->add_option("--id", id_text, "The entry's registry entry ID, decimal or 0x hexadecimal")
                          ->type_name("ID")
                          ->check(CLI::Validator(
                              [](std::string& text) {
                                  return parse_entry_id(text) ? std::string()
                                                              : "not a registry entry ID: " + text;
                              },
                              "ID"));
    path_option->excludes(id_option);
    show->callback([&] {
        if (path_option->empty() && id_option->empty())
            throw CLI::RequiredError("show: the entry's path or --id");
        chosen.what = command::show;
        if (!path_option->empty())
            chosen.path = path;
        if (!id_option->empty())
            chosen.id = parse_entry_id(id_text);
    });

    auto* usb = app.add_subcommand("usb", "Every USB device, nested by hub where the registry has the IOUSB plane");
    usb->add_flag("--verbose,-v", chosen.verbose, "Add each device's descriptor fields");
    usb->callback([&chosen] { chosen.what = command::usb; });
    app.add_subcommand("pci", "Every PCI function: identity, class, revision, subsystem and registry path")
        ->callback([&chosen] { chosen.what = command::pci; });
    app.add_subcommand("serial", "Every serial port: device files, terminal name, type and the USB device it is on")
        ->callback([&chosen] { chosen.what = command::serial; });
    add_watch_command(app, chosen);

    try {
        app.parse(argc, argv);
    }
    catch (CLI::ParseError const& e) {
        auto const status = app.exit(e);
        // Help and version are successes; everything else is a usage error, which
        // scripts tell from a failed lookup (status 1) by its own status.
        parsed.exit_status = status == static_cast<int>(CLI::ExitCodes::Success) ? 0 : usage_error_status;
    }
    return parsed;
}

} // namespace plinth::ioreg_tool
