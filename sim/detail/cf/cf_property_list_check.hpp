// Which CF values are property lists, and the CFErrors that property-list calls give.
#pragma once

#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFPropertyList.h>

#include <string>

namespace plinth::sim::detail {

// Whether `object` is a property list that `format` can hold: strings, data,
// arrays and dictionaries with string keys in every format, and numbers and
// booleans too in XML and binary. Sets and other CF types are not. Nesting past
// 512 levels is taken for a cycle.
bool is_property_list(CFTypeRef object, CFPropertyListFormat format);

// A property-list error as CF makes one: the Cocoa domain, `code` (3840 for text
// that is no property list, 3851 for one that cannot be written ...), and `text`
// as the debug description.
CFErrorRef make_property_list_error(CFIndex code, std::string const& text);

} // namespace plinth::sim::detail
