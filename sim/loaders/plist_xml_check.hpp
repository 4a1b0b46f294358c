// Checks of an XML property list's text that name the line at fault: values libplist would take without a word, and tags that do not pair up.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

// How deeply a property list's elements may nest. Registry entries nest two
// elements a level (<dict> and the children's <array>) and values nest far less,
// so real dumps stay well below; libplist parses and frees by recursion, and a
// hostile file nested deeper could exhaust the stack.
inline constexpr std::size_t max_plist_element_depth = 1536;

// Checks an XML property list before libplist parses it, as libplist would take
// both faults below without a word: elements nested deeper than
// max_plist_element_depth, and a value that is not what its element says (an
// <integer> that is no whole number, a <real> no number, <data> that is not
// base64, a <date> not in ISO 8601 form, a <true/> or <false/> with content).
// Returns the first fault ("line 12: <integer> holds \"abc\", not a whole
// number"), or nullopt.
std::optional<std::string> find_unreadable_element(std::string_view xml);

// Finds the first place where the XML's tags do not pair up ("line 12: </dict>
// closes <array> opened at line 9"), to tell the reader of a rejected property
// list where to look. It checks nesting only, not names or contents; nullopt
// when the tags pair up.
std::optional<std::string> find_tag_imbalance(std::string_view xml);

} // namespace plinth::sim::detail
