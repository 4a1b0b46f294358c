// Conversions between CF's string encodings and UTF-8.
#pragma once

#include <CoreFoundation/CFString.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// Conversions between the encodings that CF strings are made from or read in and
// UTF-8, the form CF strings keep here. Supported: UTF-8, ASCII, ISO Latin-1,
// Mac Roman, Windows Latin-1, and UTF-16 and UTF-32 in either byte order.
namespace plinth::sim::detail {

// The text that `bytes` encode, or nothing when they are not valid in `encoding`
// or the encoding is not supported. A byte-order mark opens UTF-16 and UTF-32
// (those without a stated order) and is consumed; without one they are read in the
// host's order, as on Apple's platforms.
std::optional<std::string> decode_to_utf8(std::span<UInt8 const> bytes, CFStringEncoding encoding);

// `utf8` (valid UTF-8) in `encoding`, or nothing when a character has no form in it
// or the encoding is not supported. UTF-16 and UTF-32 come in the host's order
// without a byte-order mark.
std::optional<std::string> encode_from_utf8(std::string_view utf8, CFStringEncoding encoding);

// UTF-16 code units of valid UTF-8 text: what CFStringGetLength counts.
std::size_t utf16_length(std::string_view utf8) noexcept;

std::u16string to_utf16(std::string_view utf8);
// UTF-8 of UTF-16 code units, or nothing when they hold a lone surrogate, which
// the UTF-8 form strings keep here cannot carry.
std::optional<std::string> utf16_to_utf8(std::u16string_view units);
// The byte offset in valid UTF-8 text of UTF-16 unit `index` (the end when it is
// the length), or nothing when it lies past the end or between the two halves of
// a surrogate pair.
std::optional<std::size_t> utf8_offset(std::string_view utf8, std::size_t index) noexcept;

} // namespace plinth::sim::detail
