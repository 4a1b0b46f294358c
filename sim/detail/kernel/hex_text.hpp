// Hexadecimal text: entry IDs and handle names for messages, and the digits of hex in dumps and URLs.
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

// The value of one hexadecimal digit, either case; -1 for any other character.
constexpr int hex_digit(char c) noexcept
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace plinth::sim::detail
