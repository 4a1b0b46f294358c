// registry_checks: what every fuzzer does after feeding: read the whole registry back and fail on leaks.
#pragma once

#include "device/apple/plane.hpp"
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "sim/control/diagnostics.hpp"
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"
#include "tools/plinth-ioreg/listings/hid_listing.hpp"
#include "tools/plinth-ioreg/listings/pci_listing.hpp"
#include "tools/plinth-ioreg/listings/serial_listing.hpp"
#include "tools/plinth-ioreg/listings/usb_listing.hpp"
#include "tools/plinth-ioreg/output/json_printer.hpp"
#include "tools/plinth-ioreg/output/text_printer.hpp"
#include "tools/plinth-ioreg/registry/entry_details.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>

// What every fuzzer does around the code it feeds: read back the whole simulated
// registry as plinth-ioreg shows it, and prove that an input left nothing behind.
namespace plinth::fuzzing {

// The plane a dump named, when the library knows it; the service plane otherwise.
inline plane known_plane(std::string const& name)
{
    try
    {
        return apple::make_plane(name.c_str());
    }
    catch (std::exception const&)
    {
        return plane::service;
    }
}

// Walks the registry in `p` with every property, prints it in both of the tool's
// forms, reports the root and its children in full, and lists the USB, PCI,
// serial and HID devices, so that everything loaded goes through the library's
// readers and the tool's printers. A refusal of the library (an exception) is an
// answer; only a crash, a leak or undefined behaviour is a finding.
inline void read_whole_registry(plane p)
{
    try
    {
        apple::tree const registry(apple::io_kit::mach_port::master_port_default());
        auto const root = ioreg_tool::find_root(registry);
        auto const tree = ioreg_tool::registry_walker(p, true).walk(root);
        (void)ioreg_tool::format_tree(tree);
        (void)ioreg_tool::to_text(ioreg_tool::tree_to_json(tree));
        auto const root_report = ioreg_tool::read_entry_details(root, p);
        (void)ioreg_tool::format_entry_details(root_report);
        for (auto const& child : root.children(p))
        {
            auto const report = ioreg_tool::read_entry_details(child, p);
            (void)ioreg_tool::format_entry_details(report);
            (void)ioreg_tool::to_text(ioreg_tool::entry_details_to_json(report));
        }
        auto const usb = ioreg_tool::list_usb_devices(registry);
        (void)ioreg_tool::format_usb_listing(usb, true);
        (void)ioreg_tool::to_text(ioreg_tool::usb_listing_to_json(usb));
        auto const pci = ioreg_tool::list_pci_devices(registry);
        (void)ioreg_tool::format_pci_listing(pci);
        (void)ioreg_tool::to_text(ioreg_tool::pci_listing_to_json(pci));
        auto const serial = ioreg_tool::list_serial_ports(registry);
        (void)ioreg_tool::format_serial_listing(serial);
        (void)ioreg_tool::to_text(ioreg_tool::serial_listing_to_json(serial));
        auto const hid = ioreg_tool::list_hid_devices(registry);
        (void)ioreg_tool::format_hid_listing(hid);
        (void)ioreg_tool::to_text(ioreg_tool::hid_listing_to_json(hid));
    }
    catch (std::exception const&)
    {
    }
}

// Stops the run when the input left a handle or a CF object alive, or misused the
// simulated I/O Kit: libFuzzer keeps the input that did it.
inline void require_nothing_left()
{
    auto const handles = sim::live_handles();
    auto const objects = sim::live_cf_objects();
    auto const misuse = sim::misuse_reports();
    if (handles == 0 && objects == 0 && misuse.empty())
        return;
    std::fprintf(stderr, "the input left %zu handles and %zu CF objects alive\n", handles, objects);
    for (auto const& report : misuse)
        std::fprintf(stderr, "misuse: %s\n", report.c_str());
    std::abort();
}

// What both dump fuzzers do with their bytes: `read` (one of the dump loaders)
// reads them as a dump, which is merged into a fresh registry and read back
// whole. Bad input must give a dump_error; anything else is a finding.
template <typename Read>
int load_and_read_back(std::uint8_t const* bytes, std::size_t size, Read read)
{
    std::string_view const text(reinterpret_cast<char const*>(bytes), size);
    sim::reset_registry();
    try
    {
        auto const loaded = read(text);
        sim::merge(loaded);
        read_whole_registry(known_plane(loaded.plane));
    }
    catch (sim::dump_error const&)
    {
    }
    sim::reset_registry();
    require_nothing_left();
    return 0;
}

} // namespace plinth::fuzzing
