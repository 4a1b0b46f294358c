#include "tools/plinth-ioreg/command_line/options.hpp"

#include "tools/plinth-ioreg/hid/hid_command.hpp"

#include <CLI/CLI.hpp>

#include <fmt/format.h>

#include <charconv>
#include <cstdio>
#include <iostream>

namespace plinth::ioreg_tool {
namespace {

constexpr int usage_error_status = 2;

void add_plane_option(CLI::App& command, options& chosen, char const* what)
{
    command.add_option("--plane", chosen.plane, what)->type_name("NAME")->capture_default_str();
}

void add_tree_command(CLI::App& app, options& chosen)
{
    auto* tree = app.add_subcommand(
        "tree", "The registry from its root, in one plane; with -c, -n or -k only the entries that match "
                "(each with its properties) and the entries above them, as ioreg shows them");
    add_plane_option(*tree, chosen, "The plane to walk");
    tree->add_flag("--properties,-l", chosen.properties, "Show every entry's properties, as ioreg -l does");
    tree->add_option("-c,--class", chosen.search.class_name,
                     "Look for entries of this class or of a class derived from it")
        ->type_name("CLASS");
    tree->add_option("-n,--name", chosen.search.name, "Look for entries of this name (or name@location)")
        ->type_name("NAME");
    tree->add_option("-k,--key", chosen.search.property_key, "Look for entries that have this property")
        ->type_name("KEY");
    auto* subtrees = tree->add_flag("-r,--subtrees", chosen.scope.subtrees,
                                    "Show each match with the entries below it, instead of the entries above it");
    tree->add_option("-d,--depth", chosen.scope.depth,
                     "Show this many levels, counting the root (or each match, with -r) as the first")
        ->type_name("DEPTH")
        ->check(CLI::Validator(
            [](std::string& text) {
                std::size_t depth = 0;
                auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), depth);
                bool const whole = error == std::errc() && end == text.data() + text.size();
                return whole && depth > 0 ? std::string() : "not a depth of 1 or more: " + text;
            },
            ""));
    tree->callback([&chosen, subtrees] {
        if (!subtrees->empty() && !chosen.search.any())
            throw CLI::ValidationError("-r", "needs something to look for: -c, -n or -k");
        chosen.what = command::tree;
    });
}

CLI::Validator entry_id_validator()
{
    return CLI::Validator(
        [](std::string& text) { return parse_entry_id(text) ? std::string() : "not a registry entry ID: " + text; },
        "");
}

void add_show_command(CLI::App& app, options& chosen)
{
    auto* show = app.add_subcommand("show", "One entry: names, paths, properties, parents and children");
    add_plane_option(*show, chosen, "The plane of the parents and children shown (and of a path without one)");
    auto* path_option = show->add_option("path", "The entry's registry path, e.g. IOService:/AppleACPIPlatformExpert");
    auto* id_option = show->add_option("--id", "The entry's registry entry ID, decimal or 0x hexadecimal")
                          ->type_name("ID")
                          ->check(entry_id_validator());
    show->callback([&chosen, path_option, id_option] {
        if (path_option->empty() && id_option->empty())
            throw CLI::RequiredError("show: the entry's path or --id");
        if (!path_option->empty() && !id_option->empty())
            throw CLI::ValidationError("show", "takes a path or --id, not both");
        chosen.what = command::show;
        if (!path_option->empty())
            chosen.path = path_option->as<std::string>();
        if (!id_option->empty())
            chosen.id = parse_entry_id(id_option->as<std::string>());
    });
}

// What the top level kept because nothing else took it: a word where a command
// should be, an option no command has, or a word after the command.
void check_leftovers(CLI::App const& app)
{
    auto const left = app.remaining();
    bool const has_command = !app.get_subcommands().empty();
    if (left.empty()) {
        if (!has_command)
            throw CLI::RequiredError("a command (tree, show, usb, pci, serial, watch or hid)");
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

void add_hid_command(CLI::App& app, options& chosen)
{
    auto* hid = app.add_subcommand("hid", "Every HID device: usage, vendor:product, product, report sizes, ID and "
                                          "path; or read and write one");
    hid->require_subcommand(0, 1);
    hid->callback([&chosen] {
        if (chosen.what != command::hid_read && chosen.what != command::hid_write)
            chosen.what = command::hid;
    });

    auto* read = hid->add_subcommand("read", "Print each input report of one HID device (time, report ID, bytes) "
                                             "until --count reports or Ctrl-C");
    auto* read_id = read->add_option("id", "The device's registry entry ID, decimal or 0x hexadecimal")
                        ->required()
                        ->type_name("ID")
                        ->check(entry_id_validator());
    read->add_option("--count", chosen.count, "Stop after this many reports")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    read->callback([&chosen, read_id] {
        chosen.what = command::hid_read;
        chosen.id = parse_entry_id(read_id->as<std::string>());
    });

    auto* write = hid->add_subcommand("write", "Send one output report to one HID device");
    auto* write_id = write->add_option("id", "The device's registry entry ID, decimal or 0x hexadecimal")
                         ->required()
                         ->type_name("ID")
                         ->check(entry_id_validator());
    auto* bytes = write->add_option("bytes", "The report's bytes in hexadecimal, e.g. 0102ff or 01:02:ff")
                      ->required()
                      ->type_name("HEX")
                      ->check(CLI::Validator(
                          [](std::string& text) {
                              return parse_hex_bytes(text) ? std::string() : "not bytes in hexadecimal: " + text;
                          },
                          ""));
    write->callback([&chosen, write_id, bytes] {
        chosen.what = command::hid_write;
        chosen.id = parse_entry_id(write_id->as<std::string>());
        chosen.report = *parse_hex_bytes(bytes->as<std::string>());
    });
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
    app.add_flag("--json", chosen.json, "Write JSON instead of ioreg's text layout");

    add_tree_command(app, chosen);
    add_show_command(app, chosen);

    auto* usb = app.add_subcommand("usb", "Every USB device, nested by hub where the registry has the IOUSB plane");
    usb->add_flag("--verbose,-v", chosen.verbose, "Add each device's descriptor fields");
    usb->callback([&chosen] { chosen.what = command::usb; });
    app.add_subcommand("pci", "Every PCI function: identity, class, revision, subsystem and registry path")
        ->callback([&chosen] { chosen.what = command::pci; });
    app.add_subcommand("serial", "Every serial port: device files, terminal name, type and the USB device it is on")
        ->callback([&chosen] { chosen.what = command::serial; });
    add_watch_command(app, chosen);
    add_hid_command(app, chosen);

    // Set after the commands, which would inherit it: only the top level keeps
    // what it does not know, to name it in the message below.
    app.allow_extras();

    try {
        app.parse(argc, argv);
        check_leftovers(app);
    }
    catch (CLI::CallForVersion const& version) {
        std::cout << version.what() << '\n';
        parsed.exit_status = flushed_standard_output();
    }
    catch (CLI::ParseError const& e) {
        parsed.exit_status = e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)
                                 ? print_requested_text(app, e)
                                 : usage_error(e.what());
    }
    return parsed;
}

} // namespace plinth::ioreg_tool
