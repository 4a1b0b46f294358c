// Making the CF value a task receives for a registry property.
#pragma once

#include "property/value.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <string_view>

namespace plinth::sim::detail {

using property::dictionary;
using property::value;

// Makes the CF value a user task receives for a registry property, as IOKit
// unserialises a fresh copy for every caller: strings become CFString, data CFData,
// numbers of 32 bits or less an SInt32 CFNumber (wider ones SInt64), booleans the
// CFBoolean constants, dictionaries, arrays and sets their CF kinds. The caller owns
// the result (+1).
CFTypeRef make_cf_property(value const& property);

// A new CFString of UTF-8 text; bytes that are not UTF-8 are read as Latin-1 so
// that every property name and value can be returned.
CFStringRef make_cf_string(std::string_view text);

// A new mutable dictionary holding every property of `properties`.
CFMutableDictionaryRef make_cf_dictionary(dictionary const& properties);

} // namespace plinth::sim::detail
