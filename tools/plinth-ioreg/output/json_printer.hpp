// The JSON printer: the walked tree, `show`'s details of one entry, and property values, as ordered JSON.
#pragma once

#include "property/value.hpp"
#include "tools/plinth-ioreg/registry/entry_details.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

#include <nlohmann/json.hpp>

namespace plinth::ioreg_tool {

// Objects keep their fields (and an entry's properties) in the order they are
// read, so that the JSON reads like the text.
using json = nlohmann::ordered_json;

// The walk as nested objects: "id" ("0x..."), "class", "name", "location" and
// "path" (null when absent), "properties" when they were read, and "children".
json tree_to_json(tree_node const& root);

// What `show` tells, with the same fields for the entry, its parents and children,
// plus "planes" (name, location and path in each plane the entry is in).
json entry_details_to_json(entry_details const& details);

// A property value: numbers, strings, booleans, dictionaries and arrays as
// themselves, sets as arrays, and data as an object with the one key "data" and
// the bytes as a string of hex digits ({"data": "0084d717"}), so that a script
// tells data from a string.
json value_to_json(property::value const& value);

// The document as text, two spaces of indentation, ending with a newline.
std::string to_text(json const& document);

} // namespace plinth::ioreg_tool
