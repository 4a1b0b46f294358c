// How the device listings print a field that may be absent: text, decimal, hexadecimal.
#include "tools/plinth-ioreg/listings/listing_fields.hpp"

#include <fmt/format.h>

#include <cstdint>

namespace plinth::ioreg_tool {

std::string text_or_absent(std::optional<std::string> const& text)
{
    if (!text)
        return "-";
    return text->empty() ? "\"\"" : *text;
}

std::string number_or_absent(std::optional<int> const& number)
{
    return number ? fmt::format("{}", *number) : "-";
}

std::string hex_or_absent(std::optional<int> const& number, int digits)
{
    // Registry numbers are 32-bit patterns: a location ID with its top bit set
    // prints as the hex the registry shows, not as a negative number.
    return number ? fmt::format("{:0{}x}", static_cast<std::uint32_t>(*number), digits) : "-";
}

std::string prefixed_hex_or_absent(std::optional<int> const& number, int digits)
{
    return number ? "0x" + hex_or_absent(number, digits) : "-";
}

} // namespace plinth::ioreg_tool
