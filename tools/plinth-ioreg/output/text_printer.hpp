// The text printer: the walked tree in ioreg's layout, and `show`'s details of one entry.
#pragma once

#include "tools/plinth-ioreg/registry/entry_details.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

#include <string>

namespace plinth::ioreg_tool {

// The walk in ioreg's layout: one "+-o name@location  <class X, id 0x...>" line
// per entry, "| " for each level that has more siblings to come and two spaces
// otherwise, and with properties ioreg -l's block under each entry.
std::string format_tree(tree_node const& root);

// Everything `show` tells about one entry, as indented text.
std::string format_entry_details(entry_details const& details);

// "name@location  <class X, id 0x...>": how ioreg heads an entry.
std::string format_header(entry_summary const& summary);

} // namespace plinth::ioreg_tool
