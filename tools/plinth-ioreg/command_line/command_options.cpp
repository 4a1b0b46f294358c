// The options each plinth-ioreg command adds to the command line, and the checks that tie them together.
#include "tools/plinth-ioreg/command_line/command_options.hpp"

#include "tools/plinth-ioreg/command_line/options.hpp"
#include "tools/plinth-ioreg/hid/hid_command.hpp"

#include <CLI/CLI.hpp>

#include <fmt/format.h>

#include <charconv>
#include <string>

namespace plinth::ioreg_tool {
namespace {

void add_plane_option(CLI::App& command, options& chosen, char const* what)
{
    command.add_option("--plane", chosen.plane, what)->type_name("NAME")->capture_default_str();
}

CLI::Validator entry_id_validator()
{
    return CLI::Validator(
        [](std::string& text) { return parse_entry_id(text) ? std::string() : "not a registry entry ID: " + text; },
        "");
}

CLI::Validator depth_validator()
{
    return CLI::Validator(
        [](std::string& text) {
            std::size_t depth = 0;
            auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), depth);
            bool const whole = error == std::errc() && end == text.data() + text.size();
            return whole && depth > 0 ? std::string() : "not a depth of 1 or more: " + text;
        },
        "");
}

CLI::Validator hex_bytes_validator()
{
    return CLI::Validator(
        [](std::string& text) { return parse_hex_bytes(text) ? std::string() : "not bytes in hexadecimal: " + text; },
        "");
}

CLI::Validator write_timeout_validator()
{
    return CLI::Validator(
        [](std::string& text) {
            return parse_write_timeout(text)
                       ? std::string()
                       : fmt::format("not a timeout of 1 to {} milliseconds: {}", longest_write_timeout.count(), text);
        },
        "");
}

// A count of reports: a whole number of 1 or more. CLI11's own check names the
// range of a double, which tells the user nothing.
CLI::Validator report_count_validator()
{
    return CLI::Validator(
        [](std::string& text) {
            std::size_t n = 0;
            auto const* const end = text.data() + text.size();
            auto const [stop, error] = std::from_chars(text.data(), end, n);
            return error == std::errc() && stop == end && n > 0 ? std::string()
                                                                : "not a count of 1 or more reports: " + text;
        },
        "");
}

void add_shared_flag(CLI::App& command, options& chosen)
{
    command.add_flag("--shared", chosen.shared,
                     "Open the device shared, beside the other programs that have it open, instead of seizing it");
}

} // namespace

std::function<void()> add_tree_options(CLI::App& tree, options& chosen)
{
    add_plane_option(tree, chosen, "The plane to walk");
    tree.add_flag("--properties,-l", chosen.properties, "Show every entry's properties, as ioreg -l does");
    tree.add_option("-c,--class", chosen.search.class_name,
                    "Look for entries of this class or of a class derived from it")
        ->type_name("CLASS");
    tree.add_option("-n,--name", chosen.search.name, "Look for entries of this name (or name@location)")
        ->type_name("NAME");
    tree.add_option("-k,--key", chosen.search.property_key, "Look for entries that have this property")
        ->type_name("KEY");
    auto* subtrees = tree.add_flag("-r,--subtrees", chosen.scope.subtrees,
                                   "Show each match with the entries below it, instead of the entries above it");
    tree.add_option("-d,--depth", chosen.scope.depth,
                    "Show this many levels, counting the root (or each match, with -r) as the first")
        ->type_name("DEPTH")
        ->check(depth_validator());
    return [&chosen, subtrees] {
        if (!subtrees->empty() && !chosen.search.any())
            throw CLI::ValidationError("-r", "needs something to look for: -c, -n or -k");
    };
}

std::function<void()> add_show_options(CLI::App& show, options& chosen)
{
    add_plane_option(show, chosen, "The plane of the parents and children shown (and of a path without one)");
    auto* path_option = show.add_option("path", "The entry's registry path, e.g. IOService:/AppleACPIPlatformExpert");
    auto* id_option = show.add_option("--id", "The entry's registry entry ID, decimal or 0x hexadecimal")
                          ->type_name("ID")
                          ->check(entry_id_validator());
    return [&chosen, path_option, id_option] {
        if (path_option->empty() && id_option->empty())
            throw CLI::RequiredError("show: the entry's path or --id");
        if (!path_option->empty() && !id_option->empty())
            throw CLI::ValidationError("show", "takes a path or --id, not both");
        if (!path_option->empty())
            chosen.path = path_option->as<std::string>();
        if (!id_option->empty())
            chosen.id = parse_entry_id(id_option->as<std::string>());
    };
}

std::function<void()> add_usb_options(CLI::App& usb, options& chosen)
{
    usb.add_flag("--verbose,-v", chosen.verbose, "Add each device's descriptor fields");
    return {};
}

std::function<void()> add_watch_options(CLI::App& watch, options& chosen)
{
    watch
        .add_option("--class", chosen.watched_classes,
                    "Watch entries of this class or a subclass; repeat for several "
                    "(default: every service)")
        ->type_name("NAME")
        ->allow_extra_args(false);
    watch.add_flag("--simulate-hotplug", chosen.simulate_hotplug,
                   "Where the I/O Kit is simulated, unplug and plug back a USB device of the bundled registry "
                   "every second");
    return {};
}

std::function<void()> add_hid_options(CLI::App& hid, options&)
{
    // At most one of read and write; neither lists the devices.
    hid.require_subcommand(0, 1);
    return {};
}

std::function<void()> add_hid_describe_options(CLI::App& describe, options& chosen)
{
    auto* id = describe.add_option("id", "The device's registry entry ID, decimal or 0x hexadecimal")
                   ->required()
                   ->type_name("ID")
                   ->check(entry_id_validator());
    return [&chosen, id] { chosen.id = parse_entry_id(id->as<std::string>()); };
}

std::function<void()> add_hid_read_options(CLI::App& read, options& chosen)
{
    auto* id = read.add_option("id", "The device's registry entry ID, decimal or 0x hexadecimal")
                   ->required()
                   ->type_name("ID")
                   ->check(entry_id_validator());
    read.add_option("--count", chosen.count, "Stop after this many reports")
        ->type_name("N")
        ->check(report_count_validator());
    read.add_flag("--decode", chosen.decode, "Print each report as usage = value pairs, read by its report descriptor");
    auto* queue = read.add_option("--queue", chosen.queue,
                                  "Keep up to N reports in a queue while printing, and say how many were dropped "
                                  "when it was full")
                      ->type_name("N")
                      ->check(report_count_validator());
    read.add_flag("--drop-oldest", chosen.drop_oldest,
                  "When the queue is full, drop its oldest report rather than the one that came")
        ->needs(queue);
    add_shared_flag(read, chosen);
    return [&chosen, id] { chosen.id = parse_entry_id(id->as<std::string>()); };
}

std::function<void()> add_hid_record_options(CLI::App& record, options& chosen)
{
    auto* id = record.add_option("id", "The device's registry entry ID, decimal or 0x hexadecimal")
                   ->required()
                   ->type_name("ID")
                   ->check(entry_id_validator());
    auto* count = record.add_option("--count", chosen.count, "Stop after this many reports")
                      ->type_name("N")
                      ->check(report_count_validator());
    auto* seconds = record.add_option("--seconds", "Stop after this many seconds")
                        ->type_name("N")
                        ->check(CLI::Range(1, 86400 * 365));
    count->excludes(seconds);
    record.add_option("--output,-o", chosen.output_file, "Write the recording to FILE instead of standard output")
        ->type_name("FILE");
    return [&chosen, id, seconds] {
        chosen.id = parse_entry_id(id->as<std::string>());
        if (*seconds)
            chosen.record_time = std::chrono::seconds(seconds->as<long>());
    };
}

std::function<void()> add_hid_write_options(CLI::App& write, options& chosen)
{
    auto* id = write.add_option("id", "The device's registry entry ID, decimal or 0x hexadecimal")
                   ->required()
                   ->type_name("ID")
                   ->check(entry_id_validator());
    auto* bytes = write.add_option("bytes", "The report's bytes in hexadecimal, e.g. 0102ff or 01:02:ff")
                      ->required()
                      ->type_name("HEX")
                      ->check(hex_bytes_validator());
    add_shared_flag(write, chosen);
    auto* timeout =
        write.add_option("--timeout", "Give up when the device has not taken the report after MS milliseconds")
            ->type_name("MS")
            ->check(write_timeout_validator());
    return [&chosen, id, bytes, timeout] {
        chosen.id = parse_entry_id(id->as<std::string>());
        chosen.output_report = *parse_hex_bytes(bytes->as<std::string>());
        if (!timeout->empty())
            chosen.write_timeout = parse_write_timeout(timeout->as<std::string>());
    };
}

} // namespace plinth::ioreg_tool
