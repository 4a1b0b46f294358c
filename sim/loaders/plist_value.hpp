// Converting a libplist node into a property value.
#pragma once

#include "property/value.hpp"

#include <plist/plist.h>

namespace plinth::sim::detail {

using property::value;

// Converts a property's node into a value: <integer> to a number as wide as its
// magnitude needs, <real> to double, <data> to bytes, <true/>/<false/>, strings,
// and collections item by item. Throws element_error for nodes that are no
// property value.
value plist_value(plist_t node);

} // namespace plinth::sim::detail
