// The table of plinth-ioreg's commands: name, help, options and the function that runs each.
#include "tools/plinth-ioreg/command_line/command_table.hpp"

#include "tools/plinth-ioreg/command_line/command_options.hpp"
#include "tools/plinth-ioreg/command_line/registry_commands.hpp"
#include "tools/plinth-ioreg/hid/hid_command.hpp"
#include "tools/plinth-ioreg/hid/hid_record.hpp"
#include "tools/plinth-ioreg/watch/watch_command.hpp"

namespace plinth::ioreg_tool {
namespace {

int run_hid_write_command(options const& chosen, std::FILE*)
{
    return run_hid_write(chosen);
}

constexpr command hid_subcommands[] = {
    {"describe", "One HID device's report descriptor: its items with usage names, then its reports and their sizes",
     add_hid_describe_options, print_hid_description},
    {"read",
     "Print each input report of one HID device (time, report ID, bytes; with --decode, usage = value) until --count "
     "reports or Ctrl-C",
     add_hid_read_options, run_hid_read},
    {"record",
     "Record one HID device (descriptor, identity, registry entries, then each input report with its time) until "
     "--count reports, --seconds or Ctrl-C, opened shared",
     add_hid_record_options, run_hid_record},
    {"write", "Send one output report to one HID device", add_hid_write_options, run_hid_write_command},
};

constexpr command commands[] = {
    {"tree",
     "The registry from its root, in one plane; with -c, -n or -k only the entries that match (each with its "
     "properties) and the entries above them, as ioreg shows them",
     add_tree_options, print_tree},
    {"show", "One entry: names, paths, properties, parents and children", add_show_options, print_entry_details},
    {"usb", "Every USB device, nested by hub where the registry has the IOUSB plane", add_usb_options,
     print_usb_listing},
    {"pci", "Every PCI function: identity, class, revision, subsystem and registry path", nullptr, print_pci_listing},
    {"serial", "Every serial port: device files, terminal name, type and the USB device it is on", nullptr,
     print_serial_listing},
    {"watch", "Print each matching entry that arrives or leaves (time, +/-, class, name, ID, path) until Ctrl-C",
     add_watch_options, run_watch},
    {"hid",
     "Every HID device: usage, vendor:product, product, report sizes, ID, path and who has it open; or describe, read "
     "and write one",
     add_hid_options, print_hid_listing, hid_subcommands},
};

} // namespace

std::span<command const> command_table() noexcept
{
    return commands;
}

std::string command_names()
{
    std::string names;
    auto const table = command_table();
    for (std::size_t i = 0; i < table.size(); ++i)
    {
        if (i > 0)
            names += i + 1 == table.size() ? " or " : ", ";
        names += table[i].name;
    }
    return names;
}

} // namespace plinth::ioreg_tool
