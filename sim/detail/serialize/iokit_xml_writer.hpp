// Writing CF property values in IOKit's XML form, the text IOCFSerialize gives the kernel.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <optional>
#include <string>

namespace plinth::sim::detail {

// `value` in IOKit's XML form: no document header, one element per value; each
// string, number, data and collection carries an ID, and a value met again (the
// same object) is written as a reference to it (IDREF); integers are hexadecimal
// with their size in bits. Nothing for NULL or a value that is no property-list
// type (dictionary keys must be strings).
std::optional<std::string> write_iokit_xml(CFTypeRef value);

} // namespace plinth::sim::detail
