#include "sim/detail/kernel/hex_text.hpp"

#include <charconv>

namespace plinth::sim::detail {

std::string hex_text(std::uint64_t number)
{
    char digits[16];
    auto const end = std::to_chars(std::begin(digits), std::end(digits), number, 16).ptr;
    return "0x" + std::string(digits, end);
}

} // namespace plinth::sim::detail
