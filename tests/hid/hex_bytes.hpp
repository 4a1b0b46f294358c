// from_hex: descriptor and report bytes written in the tests as hex ("05 01 09 02"), spaces ignored.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace plinth::testing {

inline std::vector<std::uint8_t> from_hex(std::string_view hex)
{
    std::string digits;
    for (char const c : hex)
        if (c != ' ' && c != '\n')
            digits += c;
    if (digits.size() % 2 != 0)
        throw std::invalid_argument("odd number of hex digits");
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

} // namespace plinth::testing
