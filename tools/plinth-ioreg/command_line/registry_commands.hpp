// The commands that print a reading of the registry (tree, show and the usb, pci, serial and hid listings).
#pragma once

#include "tools/plinth-ioreg/command_line/options.hpp"

#include <cstdio>

namespace plinth::ioreg_tool {

// Each checks the plane, prepares the registry (see prepare_registry), reads what
// its command shows, in text or, with --json, JSON, and writes it on `out`.
// Returns 0; throws tool_error for what the user can correct, a failed write
// included, and lets any other failure through.
int print_tree(options const& chosen, std::FILE* out);
int print_entry_details(options const& chosen, std::FILE* out);
int print_usb_listing(options const& chosen, std::FILE* out);
int print_pci_listing(options const& chosen, std::FILE* out);
int print_serial_listing(options const& chosen, std::FILE* out);
int print_hid_listing(options const& chosen, std::FILE* out);
// hid describe: one HID device's report descriptor, its items and reports.
int print_hid_description(options const& chosen, std::FILE* out);

} // namespace plinth::ioreg_tool
