// The text form of a UUID: "68753A44-4D6F-1226-9C60-0050E4C00067".
#pragma once

#include "sim/detail/cf/cf_uuid.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

// The bytes in uppercase hex, grouped 8-4-4-4-12 by dashes, as CFUUIDCreateString writes them.
std::string uuid_text(uuid_bytes const& bytes);

// The bytes of a UUID written in that form, in either case; nothing for text of any
// other shape (wrong length, a dash out of place, a character that is not hex).
std::optional<uuid_bytes> parse_uuid_text(std::string_view text);

} // namespace plinth::sim::detail
