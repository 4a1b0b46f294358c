// A property value in ioreg's own syntax, written where the text printer writes.
#pragma once

#include "property/value.hpp"

#include <iterator>
#include <string>

namespace plinth::ioreg_tool {

// Writes a property value in ioreg's syntax: numbers unsigned decimal, strings in quotes
// (unescaped, as ioreg prints them), booleans Yes/No, data <hex> or, when it is
// NUL-terminated printable text, <"text","more">, dictionaries {"k"=v,...},
// arrays (v,...) and sets [v,...].
// It is written straight where the printer writes, so that a listing builds no
// string per value.
void append_value(std::back_insert_iterator<std::string> out, property::value const& value);

} // namespace plinth::ioreg_tool
