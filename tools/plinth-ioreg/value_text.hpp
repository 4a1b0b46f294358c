#pragma once

#include "tools/plinth-ioreg/property_value.hpp"

#include <string>

namespace plinth::ioreg_tool {

// A property value in ioreg's syntax: numbers unsigned decimal, strings in quotes
// (unescaped, as ioreg prints them), booleans Yes/No, data <hex> or, when it is
// NUL-terminated printable text, <"text","more">, dictionaries {"k"=v,...},
// arrays (v,...) and sets [v,...].
std::string format_value(property_value const& value);

} // namespace plinth::ioreg_tool
