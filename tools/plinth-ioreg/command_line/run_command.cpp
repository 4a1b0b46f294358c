#include "tools/plinth-ioreg/command_line/run_command.hpp"

#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "tools/plinth-ioreg/listings/hid_listing.hpp"
#include "tools/plinth-ioreg/listings/pci_listing.hpp"
#include "tools/plinth-ioreg/listings/serial_listing.hpp"
#include "tools/plinth-ioreg/listings/usb_listing.hpp"
#include "tools/plinth-ioreg/output/json_printer.hpp"
#include "tools/plinth-ioreg/output/text_printer.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/registry/entry_report.hpp"
#include "tools/plinth-ioreg/registry/plane_name.hpp"
#include "tools/plinth-ioreg/registry/registry_source.hpp"
#include "tools/plinth-ioreg/walk/registry_search.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

namespace plinth::ioreg_tool {
namespace {

// -r: each match as a tree of its own, one after the other; in JSON an array of them.
std::string run_subtrees(registry_search const& search, registry_entry const& root, bool json)
{
    auto const found = search.subtrees_of_matches(root);
    if (json) {
        auto array = json::array();
        for (auto const& match : found)
            array.push_back(tree_to_json(match));
        return to_text(array);
    }
    std::string text;
    for (auto const& match : found)
        text += format_tree(match);
    return text;
}

std::string run_tree(apple::tree const& registry, options const& chosen, plane p)
{
    auto const root_entry = find_root(registry);
    if (!chosen.search.any() && !chosen.scope.depth) {
        // Only the JSON form shows paths; the text form saves reading them.
        auto const paths = chosen.json ? path_reading::read : path_reading::skip;
        auto const root = registry_walker(p, chosen.properties, paths).walk(root_entry);
        return chosen.json ? to_text(tree_to_json(root)) : format_tree(root);
    }
    registry_search const search(p, chosen.search, chosen.scope, chosen.properties);
    if (chosen.scope.subtrees)
        return run_subtrees(search, root_entry, chosen.json);
    // Nothing matched: no text, and null in JSON.
    auto const root = search.entries_above_matches(root_entry);
    if (chosen.json)
        return to_text(root ? tree_to_json(*root) : json(nullptr));
    return root ? format_tree(*root) : std::string();
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
    case command::hid: {
        auto const items = list_hid_devices(registry);
        return chosen.json ? to_text(hid_listing_to_json(items)) : format_hid_listing(items);
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
