// Reading IOKit's XML form (and plain property-list XML) into CF property values.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <string>
#include <string_view>

namespace plinth::sim::detail {

// The value `text` holds, +1: IOKit's XML form as write_iokit_xml writes it (IDs,
// IDREF references, sized integers in decimal or hexadecimal, sets), or a plain
// property list (with or without its XML declaration and <plist> element).
// Integers of 32 bits or fewer become SInt32 numbers, the rest (and integers
// without a size) SInt64; collections are mutable, as IOKit builds them by adding.
// NULL on bad input, with `error` saying why and, where the parser knows it, on
// which line.
CFTypeRef read_iokit_xml(std::string_view text, std::string& error);

} // namespace plinth::sim::detail
