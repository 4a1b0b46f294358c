// Hexadecimal text of entry IDs and handle names, for messages.
#pragma once

#include <charconv>
#include <cstdint>
#include <iterator>
#include <string>

namespace plinth::sim::detail {

// "0x1a2b": how registry entry IDs and handle names appear in messages.
inline std::string hex_text(std::uint64_t number)
{
    char digits[16];
    auto const end = std::to_chars(std::begin(digits), std::end(digits), number, 16).ptr;
    return "0x" + std::string(digits, end);
}

} // namespace plinth::sim::detail
