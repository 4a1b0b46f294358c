// Equality of property values as the kernel decides it when matching.
#pragma once

#include "property/value.hpp"

namespace plinth::sim::detail {

using property::dictionary;
using property::value;

// Equality as the kernel's OSObject::isEqualTo decides it when matching: numbers
// compare their bits masked to each one's width (an SInt32 -1 sent by a task equals
// a 32-bit 0xFFFFFFFF), dictionaries and sets ignore order, arrays keep it.
bool kernel_equal(value const& a, value const& b);

// Whether every key of `subset` is in `properties` with a kernel-equal value.
bool properties_include(dictionary const& properties, dictionary const& subset);

} // namespace plinth::sim::detail
