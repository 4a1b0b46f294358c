// The text form of a UUID: written in uppercase hex with dashes, read in either case.
#include "sim/detail/cf/cf_uuid_text.hpp"

#include "sim/detail/kernel/hex_text.hpp"

#include <algorithm>
#include <array>

namespace plinth::sim::detail {
namespace {

// Where the dashes stand in the 36 characters of the text.
constexpr std::array<std::size_t, 4> dash_positions{8, 13, 18, 23};
constexpr std::size_t text_length = 36;

bool is_dash_position(std::size_t at)
{
    return std::find(dash_positions.begin(), dash_positions.end(), at) != dash_positions.end();
}

} // namespace

std::string uuid_text(uuid_bytes const& bytes)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(text_length);
    for (UInt8 const byte : bytes)
    {
        if (is_dash_position(text.size()))
            text += '-';
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::optional<uuid_bytes> parse_uuid_text(std::string_view text)
{
    if (text.size() != text_length)
        return std::nullopt;
    uuid_bytes bytes{};
    std::size_t byte = 0;
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        if (is_dash_position(at))
        {
            if (text[at] != '-')
                return std::nullopt;
            continue;
        }
        auto const high = hex_digit(text[at]);
        auto const low = hex_digit(text[++at]); // two digits per byte, never split by a dash
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes[byte++] = static_cast<UInt8>((high << 4) | low);
    }
    return bytes;
}

} // namespace plinth::sim::detail
