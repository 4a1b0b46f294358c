#pragma once

#include <cstdint>
#include <string>

namespace plinth::sim::detail {

// "0x1a2b": how registry entry IDs and handle names appear in messages.
std::string hex_text(std::uint64_t number);

} // namespace plinth::sim::detail
