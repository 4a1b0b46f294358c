// What a tree line of `ioreg` says about an entry.
#pragma once

#include "sim/detail/registry/registry_description.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace plinth::sim::detail {

// What a tree line of `ioreg` says about an entry:
//   +-o name@location  <class NAME, id 0xHEX, registered, ..., retain N>
struct tree_line
{
    std::string name;
    std::optional<std::string> location;
    std::string class_name;
    std::vector<std::string> class_chain; // when the header shows one (ioreg -i), most-derived first
    entry_id id = 0;
};

// What starts a tree line's content, after the tree drawing.
inline constexpr std::string_view tree_marker = "+-o ";

// Reads the text of a tree line from its "+-o " marker on. A clipped line still
// reads when its cut falls after the entry's ID. Throws syntax_error, with columns
// counted from the marker.
tree_line parse_tree_line(std::string_view from_marker, bool clipped);

} // namespace plinth::sim::detail
