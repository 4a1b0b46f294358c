// Visiting every entry of one plane once, depth first, for the device listings.
#pragma once

#include "device/apple/device.hpp"
#include "device/apple/plane.hpp"
#include "device/apple/tree.hpp"

#include <functional>

namespace plinth::ioreg_tool {

// Called for each entry of a plane with the sum of what it returned for the
// entry's ancestors on the way down (a listing's nesting depth, say); returns the
// entry's own share of it. The entry is the visitor's to keep: a view made from
// it by moving takes over its reference, where a copy would cost a retain and a
// release, two IOKit calls, for every entry of the plane.
using plane_visitor = std::function<int(apple::device entry, int ancestors_weight)>;

// Visits every entry below the root in plane `p` once, depth first, in registry
// order; an entry with several parents is visited under the first that reaches it.
// Returns false when the root has no child in the plane (the registry lacks it).
bool visit_plane(apple::tree const& registry, plane p, plane_visitor const& visit);

} // namespace plinth::ioreg_tool
