// Conversions between CF's string encodings and UTF-8.
#include "sim/detail/cf/cf_text_encoding.hpp"

#include <boost/locale/utf.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <iterator>

namespace plinth::sim::detail {
namespace {

namespace utf = boost::locale::utf;
using code_point = utf::code_point;

// Code points of bytes 0x80..0xFF; bytes below are ASCII in both.
constexpr std::array<char16_t, 128> mac_roman_high{
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5,
    0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, 0x00F2, 0x00F4,
    0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6,
    0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8, 0x221E, 0x00B1, 0x2264, 0x2265,
    0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF,
    0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB, 0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5,
    0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044,
    0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9,
    0x0131, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};

// Windows' five unassigned bytes (0x81, 0x8D, 0x8F, 0x90, 0x9D) map to the C1
// controls of the same value, as Windows itself converts them.
constexpr std::array<char16_t, 128> windows_latin1_high = [] {
    std::array<char16_t, 128> table{
        0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
    };
    for (std::size_t i = 0x20; i < table.size(); ++i)
        table[i] = static_cast<char16_t>(0x80 + i);
    return table;
}();

enum class byte_order
{
    host,
    big,
    little,
    from_mark, // a leading byte-order mark decides; the host's order without one
};

struct wide_form
{
    std::size_t unit_size; // 2 or 4
    byte_order order;
};

std::optional<wide_form> wide_form_of(CFStringEncoding encoding)
{
    switch (encoding)
    {
    case kCFStringEncodingUTF16: return wide_form{2, byte_order::from_mark};
    case kCFStringEncodingUTF16BE: return wide_form{2, byte_order::big};
    case kCFStringEncodingUTF16LE: return wide_form{2, byte_order::little};
    case kCFStringEncodingUTF32: return wide_form{4, byte_order::from_mark};
    case kCFStringEncodingUTF32BE: return wide_form{4, byte_order::big};
    case kCFStringEncodingUTF32LE: return wide_form{4, byte_order::little};
    default: return std::nullopt;
    }
}

std::array<char16_t, 128> const* high_half_of(CFStringEncoding encoding)
{
    if (encoding == kCFStringEncodingMacRoman)
        return &mac_roman_high;
    if (encoding == kCFStringEncodingWindowsLatin1)
        return &windows_latin1_high;
    return nullptr;
}

void append_utf8(std::string& out, code_point c)
{
    utf::utf_traits<char>::encode(c, std::back_inserter(out));
}

std::uint32_t read_unit(UInt8 const* p, std::size_t size, bool big_endian)
{
    std::uint32_t unit = 0;
    for (std::size_t i = 0; i < size; ++i)
        unit |= std::uint32_t{p[big_endian ? i : size - 1 - i]} << (8 * (size - 1 - i));
    return unit;
}

void write_unit(std::string& out, std::uint32_t unit, std::size_t size)
{
    bool const big_endian = std::endian::native == std::endian::big;
    for (std::size_t i = 0; i < size; ++i)
    {
        std::size_t const shift = big_endian ? 8 * (size - 1 - i) : 8 * i;
        out.push_back(static_cast<char>((unit >> shift) & 0xFF));
    }
}

std::optional<std::string> decode_wide(std::span<UInt8 const> bytes, wide_form form)
{
    if (bytes.size() % form.unit_size != 0)
        return std::nullopt;
    bool big_endian =
        form.order == byte_order::big || (form.order != byte_order::little && std::endian::native == std::endian::big);
    if (form.order == byte_order::from_mark && bytes.size() >= form.unit_size)
    {
        std::uint32_t const mark = form.unit_size == 2 ? 0xFEFF : 0x0000FEFF;
        if (read_unit(bytes.data(), form.unit_size, true) == mark)
        {
            big_endian = true;
            bytes = bytes.subspan(form.unit_size);
        }
        else if (read_unit(bytes.data(), form.unit_size, false) == mark)
        {
            big_endian = false;
            bytes = bytes.subspan(form.unit_size);
        }
    }

    std::string out;
    if (form.unit_size == 4)
    {
        for (std::size_t i = 0; i < bytes.size(); i += 4)
        {
            code_point const c = read_unit(bytes.data() + i, 4, big_endian);
            if (!utf::is_valid_codepoint(c))
                return std::nullopt;
            append_utf8(out, c);
        }
        return out;
    }

    std::u16string units;
    for (std::size_t i = 0; i < bytes.size(); i += 2)
        units.push_back(static_cast<char16_t>(read_unit(bytes.data() + i, 2, big_endian)));
    for (auto p = units.cbegin(); p != units.cend();)
    {
        code_point const c = utf::utf_traits<char16_t>::decode(p, units.cend());
        if (c == utf::illegal || c == utf::incomplete)
            return std::nullopt;
        append_utf8(out, c);
    }
    return out;
}

std::optional<std::string> encode_wide(std::string_view utf8, std::size_t unit_size)
{
    std::string out;
    for (auto p = utf8.begin(); p != utf8.end();)
    {
        code_point const c = utf::utf_traits<char>::decode(p, utf8.end());
        if (unit_size == 4)
        {
            write_unit(out, c, 4);
            continue;
        }
        std::array<char16_t, 2> units{};
        auto const end = utf::utf_traits<char16_t>::encode(c, units.begin());
        for (auto u = units.begin(); u != end; ++u)
            write_unit(out, *u, 2);
    }
    return out;
}

bool valid_utf8(std::string_view text)
{
    for (auto p = text.begin(); p != text.end();)
    {
        code_point const c = utf::utf_traits<char>::decode(p, text.end());
        if (c == utf::illegal || c == utf::incomplete)
            return false;
    }
    return true;
}

bool is_supported_encoding(CFStringEncoding encoding) noexcept
{
    switch (encoding)
    {
    case kCFStringEncodingUTF8:
    case kCFStringEncodingASCII:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingWindowsLatin1: return true;
    default: return wide_form_of(encoding).has_value();
    }
}

} // namespace

std::optional<std::string> decode_to_utf8(std::span<UInt8 const> bytes, CFStringEncoding encoding)
{
    if (encoding == kCFStringEncodingUTF8)
    {
        std::string text(bytes.begin(), bytes.end());
        if (!valid_utf8(text))
            return std::nullopt;
        return text;
    }
    if (auto const form = wide_form_of(encoding))
        return decode_wide(bytes, *form);
    if (!is_supported_encoding(encoding))
        return std::nullopt;

    auto const* high_half = high_half_of(encoding);
    std::string out;
    for (UInt8 const byte : bytes)
    {
        if (byte < 0x80)
            out.push_back(static_cast<char>(byte));
        else if (encoding == kCFStringEncodingASCII)
            return std::nullopt; // ASCII has no bytes above 0x7F
        else if (high_half != nullptr)
            append_utf8(out, (*high_half)[byte - 0x80]);
        else
            append_utf8(out, byte); // ISO Latin-1: the byte is the code point
    }
    return out;
}

std::optional<std::string> encode_from_utf8(std::string_view utf8, CFStringEncoding encoding)
{
    if (encoding == kCFStringEncodingUTF8)
        return std::string(utf8);
    if (auto const form = wide_form_of(encoding))
        return encode_wide(utf8, form->unit_size);
    if (!is_supported_encoding(encoding))
        return std::nullopt;

    auto const* high_half = high_half_of(encoding);
    code_point const direct_limit = encoding == kCFStringEncodingISOLatin1 ? 0x100 : 0x80;
    std::string out;
    for (auto p = utf8.begin(); p != utf8.end();)
    {
        code_point const c = utf::utf_traits<char>::decode(p, utf8.end());
        if (c < direct_limit)
        {
            out.push_back(static_cast<char>(c));
            continue;
        }
        if (high_half == nullptr)
            return std::nullopt;
        auto const found = std::find(high_half->begin(), high_half->end(), static_cast<char16_t>(c));
        if (c > 0xFFFF || found == high_half->end())
            return std::nullopt;
        out.push_back(static_cast<char>(0x80 + (found - high_half->begin())));
    }
    return out;
}

std::size_t utf16_length(std::string_view utf8) noexcept
{
    std::size_t length = 0;
    for (char const ch : utf8)
    {
        auto const byte = static_cast<unsigned char>(ch);
        if ((byte & 0xC0) != 0x80)
            ++length; // a lead byte starts a character
        if (byte >= 0xF0)
            ++length; // four-byte characters lie beyond the BMP: a surrogate pair
    }
    return length;
}

std::u16string to_utf16(std::string_view utf8)
{
    std::u16string out;
    for (auto p = utf8.begin(); p != utf8.end();)
        utf::utf_traits<char16_t>::encode(utf::utf_traits<char>::decode(p, utf8.end()), std::back_inserter(out));
    return out;
}

std::optional<std::string> utf16_to_utf8(std::u16string_view units)
{
    std::string out;
    out.reserve(units.size());
    for (auto p = units.begin(); p != units.end();)
    {
        auto const c = utf::utf_traits<char16_t>::decode(p, units.end());
        if (c == utf::illegal || c == utf::incomplete)
            return std::nullopt;
        utf::utf_traits<char>::encode(c, std::back_inserter(out));
    }
    return out;
}

std::optional<std::size_t> utf8_offset(std::string_view utf8, std::size_t index) noexcept
{
    std::size_t units = 0;
    for (std::size_t at = 0; at < utf8.size(); ++at)
    {
        auto const byte = static_cast<unsigned char>(utf8[at]);
        if ((byte & 0xC0) == 0x80)
            continue;
        if (units == index)
            return at;
        units += byte >= 0xF0 ? 2 : 1;
        if (units > index)
            return std::nullopt; // inside a surrogate pair
    }
    if (units == index)
        return utf8.size();
    return std::nullopt;
}

} // namespace plinth::sim::detail
