#include "tools/plinth-ioreg/run_command.hpp"

#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "tools/plinth-ioreg/entry_lookup.hpp"
#include "tools/plinth-ioreg/entry_report.hpp"
#include "tools/plinth-ioreg/json_printer.hpp"
#include "tools/plinth-ioreg/pci_listing.hpp"
#include "tools/plinth-ioreg/plane_name.hpp"
#include "tools/plinth-ioreg/registry_source.hpp"
#include "tools/plinth-ioreg/registry_walker.hpp"
#include "tools/plinth-ioreg/serial_listing.hpp"
#include "tools/plinth-ioreg/text_printer.hpp"
#include "tools/plinth-ioreg/usb_listing.hpp"

namespace plinth::ioreg_tool {
namespace {

std::string run_tree(apple::tree const& registry, options const& chosen, plane p)
{
    // Only the JSON form shows paths; the text form saves reading them.
    auto const paths = chosen.json ? path_reading::read : path_reading::skip;
    auto const root = registry_walker(p, chosen.properties, paths).walk(find_root(registry));
    return chosen.json ? to_text(tree_to_json(root)) : format_tree(root);
}

std::string run_show(apple::tree const& registry, options const& chosen, plane p)
{
    auto const entry = chosen.id ? find_by_id(registry, *chosen.id) : find_by_path(registry, *chosen.path, p);
    auto const report = report_entry(entry, p);
    return chosen.json ? to_text(report_to_json(report)) : format_report(report);
}

std::string run_listing(apple::tree const& registry, options const& chosen)
{
    switch (chosen.what) {
    case command::usb: {
        auto const items = list_usb_devices(registry);
        return chosen.json ? to_text(usb_listing_to_json(items)) : format_usb_listing(items, chosen.verbose);
    }
    case command::pci: {
        auto const items = list_pci_devices(registry);
        return chosen.json ? to_text(pci_listing_to_json(items)) : format_pci_listing(items);
    }
    default: {
        auto const items = list_serial_ports(registry);
        return chosen.json ? to_text(serial_listing_to_json(items)) : format_serial_listing(items);
    }
    }
}

} // namespace

std::string run_command(options const& chosen)
{
    // The plane is checked first: a typo should not wait for a large dump to load.
    auto const p = parse_plane(chosen.plane);
    prepare_registry(chosen.registries);
    apple::tree const registry(apple::io_kit::mach_port::master_port_default());
    switch (chosen.what) {
    case command::tree:
        return run_tree(registry, chosen, p);
    case command::show:
        return run_show(registry, chosen, p);
    default:
        return run_listing(registry, chosen);
    }
}

} // namespace plinth::ioreg_tool
