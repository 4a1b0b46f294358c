// Reading CF values into property values, as the kernel unserialises them.
#pragma once

#include "property/value.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>

namespace plinth::sim::detail {

using property::value;

// Reads a CF value as the kernel unserialises what a task sends it (a matching
// dictionary): numbers keep the width of their CF type. Empty for a CF type that
// has no registry form, or for a NULL reference.
std::optional<value> value_from_cf(CFTypeRef object);

// The UTF-8 text of a CFString; empty when `object` is not a string.
std::optional<std::string> string_from_cf(CFTypeRef object);

} // namespace plinth::sim::detail
