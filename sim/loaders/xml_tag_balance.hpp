#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

// Finds the first place where the XML's tags do not pair up ("line 12: </dict>
// closes <array> opened at line 9"), to tell the reader of a rejected property
// list where to look. It checks nesting only, not names or contents; nullopt
// when the tags pair up.
std::optional<std::string> find_tag_imbalance(std::string_view xml);

} // namespace plinth::sim::detail
