// tree, show and the device listings: each reads the registry and prints what it shows, as text or JSON.
#include "tools/plinth-ioreg/command_line/registry_commands.hpp"

#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/hid_describe.hpp"
#include "tools/plinth-ioreg/listings/hid_listing.hpp"
#include "tools/plinth-ioreg/listings/pci_listing.hpp"
#include "tools/plinth-ioreg/listings/serial_listing.hpp"
#include "tools/plinth-ioreg/listings/usb_listing.hpp"
#include "tools/plinth-ioreg/output/json_printer.hpp"
#include "tools/plinth-ioreg/output/text_printer.hpp"
#include "tools/plinth-ioreg/registry/entry_details.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/registry/plane_name.hpp"
#include "tools/plinth-ioreg/registry/registry_source.hpp"
#include "tools/plinth-ioreg/walk/registry_search.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

#include <cerrno>
#include <cstring>
#include <string>

namespace plinth::ioreg_tool {
namespace {

// A full disk or a closed pipe shows in the stream's error flag: a write into the
// buffer succeeds, and the flush that fails may be an earlier, implicit one.
void write_output(std::string const& output, std::FILE* out)
{
    errno = 0;
    std::fwrite(output.data(), 1, output.size(), out);
    if (std::fflush(out) == 0 && !std::ferror(out))
        return;
    auto const reason = errno != 0 ? std::string(": ") + std::strerror(errno) : std::string();
    throw tool_error("cannot write the output" + reason);
}

// Prepares the registry and writes what `text_of(registry, plane)` makes of it. The
// plane is checked first: a typo should not wait for a large dump to load.
template <typename TextOf>
int print_registry_text(options const& chosen, std::FILE* out, TextOf&& text_of)
{
    auto const p = parse_plane(chosen.plane);
    auto const prepared = prepare_registry(chosen.registries, chosen.replays);
    std::string text;
    {
        apple::tree const registry(apple::io_kit::mach_port::master_port_default());
        text = text_of(registry, p);
    }
    write_output(text, out);
    return 0;
}

// -r: each match as a tree of its own, one after the other; in JSON an array of them.
std::string subtrees_text(registry_search const& search, walked_entry const& root, bool json)
{
    auto const found = search.subtrees_of_matches(root);
    if (json)
    {
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

std::string tree_text(apple::tree const& registry, options const& chosen, plane p)
{
    auto const root_entry = find_root(registry);
    if (!chosen.search.any() && !chosen.scope.depth)
    {
        // Only the JSON form shows paths; the text form saves reading them.
        auto const paths = chosen.json ? path_reading::read : path_reading::skip;
        auto const root = registry_walker(p, chosen.properties, paths).walk(root_entry);
        return chosen.json ? to_text(tree_to_json(root)) : format_tree(root);
    }
    registry_search const search(p, chosen.search, chosen.scope, chosen.properties);
    if (chosen.scope.subtrees)
        return subtrees_text(search, root_entry, chosen.json);
    // Nothing matched: no text, and null in JSON.
    auto const root = search.entries_above_matches(root_entry);
    if (chosen.json)
        return to_text(root ? tree_to_json(*root) : json(nullptr));
    return root ? format_tree(*root) : std::string();
}

std::string entry_details_text(apple::tree const& registry, options const& chosen, plane p)
{
    auto const entry = chosen.id ? find_by_id(registry, *chosen.id) : find_by_path(registry, *chosen.path, p);
    auto const details = read_entry_details(entry, p);
    return chosen.json ? to_text(entry_details_to_json(details)) : format_entry_details(details);
}

} // namespace

int print_tree(options const& chosen, std::FILE* out)
{
    return print_registry_text(chosen, out,
                               [&](apple::tree const& registry, plane p) { return tree_text(registry, chosen, p); });
}

int print_entry_details(options const& chosen, std::FILE* out)
{
    return print_registry_text(
        chosen, out, [&](apple::tree const& registry, plane p) { return entry_details_text(registry, chosen, p); });
}

int print_usb_listing(options const& chosen, std::FILE* out)
{
    return print_registry_text(chosen, out, [&](apple::tree const& registry, plane) {
        auto const items = list_usb_devices(registry);
        return chosen.json ? to_text(usb_listing_to_json(items)) : format_usb_listing(items, chosen.verbose);
    });
}

int print_pci_listing(options const& chosen, std::FILE* out)
{
    return print_registry_text(chosen, out, [&](apple::tree const& registry, plane) {
        auto const items = list_pci_devices(registry);
        return chosen.json ? to_text(pci_listing_to_json(items)) : format_pci_listing(items);
    });
}

int print_serial_listing(options const& chosen, std::FILE* out)
{
    return print_registry_text(chosen, out, [&](apple::tree const& registry, plane) {
        auto const items = list_serial_ports(registry);
        return chosen.json ? to_text(serial_listing_to_json(items)) : format_serial_listing(items);
    });
}

int print_hid_description(options const& chosen, std::FILE* out)
{
    return print_registry_text(chosen, out,
                               [&](apple::tree const&, plane) { return describe_hid_device(*chosen.id, chosen.json); });
}

int print_hid_listing(options const& chosen, std::FILE* out)
{
    return print_registry_text(chosen, out, [&](apple::tree const& registry, plane) {
        auto const items = list_hid_devices(registry);
        return chosen.json ? to_text(hid_listing_to_json(items)) : format_hid_listing(items);
    });
}

} // namespace plinth::ioreg_tool
