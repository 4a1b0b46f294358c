// The CFString object: its UTF-8 text, UTF-16 length, equality, hashing.
#include "sim/detail/cf/cf_string.hpp"

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_range_check.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_text_encoding.hpp"

#include <algorithm>
#include <functional>

namespace plinth::sim::detail {

cf_string::cf_string(std::string utf8, bool constant, bool is_mutable)
    : cf_object(cf_string_type_id, constant), utf8_(std::move(utf8)), mutable_(is_mutable)
{
    measure();
}

std::optional<std::pair<std::size_t, std::size_t>> cf_string::bytes_of(CFRange range) const noexcept
{
    if (ascii_)
        return std::pair{static_cast<std::size_t>(range.location),
                         static_cast<std::size_t>(range.location + range.length)};
    auto const first = utf8_offset(utf8_, static_cast<std::size_t>(range.location));
    auto const last = utf8_offset(utf8_, static_cast<std::size_t>(range.location + range.length));
    if (!first || !last)
        return std::nullopt;
    return std::pair{*first, *last};
}

void cf_string::replace_bytes(std::size_t from, std::size_t to, std::string_view utf8)
{
    utf8_.replace(from, to - from, utf8);
    measure();
}

void cf_string::measure() noexcept
{
    ascii_ = std::ranges::all_of(utf8_, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    length_ = static_cast<CFIndex>(ascii_ ? utf8_.size() : utf16_length(utf8_));
}

// Valid UTF-8 texts are equal exactly when their UTF-16 forms are, so the bytes
// decide (CF compares strings literally, without normalisation).
bool cf_string::equals(cf_object const& other) const
{
    return utf8_ == static_cast<cf_string const&>(other).utf8_;
}

CFHashCode cf_string::hash() const
{
    return std::hash<std::string>{}(utf8_);
}

std::string cf_string::description() const
{
    return description_head() + "{contents = \"" + utf8_ + "\"}";
}

std::optional<std::pair<std::size_t, std::size_t>> string_bytes_of(cf_string const& string, CFRange range,
                                                                   char const* function)
{
    auto bytes = string.bytes_of(range);
    if (!bytes)
        report_misuse(std::string(function) + ": the range splits a surrogate pair");
    return bytes;
}

std::string utf8_of(CFStringRef string, char const* function)
{
    auto const* checked = cf_checked<cf_string>(string, function);
    return checked != nullptr ? checked->utf8() : std::string();
}

std::optional<std::string> text_of_characters(UniChar const* chars, CFIndex count, char const* function)
{
    if (!cf_input_valid(chars != nullptr, count, function, "no characters or a negative count"))
        return std::nullopt;
    auto text =
        utf16_to_utf8(std::u16string_view(reinterpret_cast<char16_t const*>(chars), static_cast<std::size_t>(count)));
    if (!text)
        report_misuse(std::string(function) + ": a lone surrogate, which this simulation's strings cannot hold");
    return text;
}

CFStringRef make_cf_string(std::string utf8)
{
    return cf_ref<CFStringRef>(make_cf_object<cf_string>(std::move(utf8)));
}

CFMutableStringRef make_cf_mutable_string(std::string utf8)
{
    return cf_ref<CFMutableStringRef>(make_cf_object<cf_string>(std::move(utf8), false, true));
}

} // namespace plinth::sim::detail
