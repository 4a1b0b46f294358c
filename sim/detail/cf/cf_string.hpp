// The CFString object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace plinth::sim::detail {

// A CFString or CFMutableString. The text is kept as valid UTF-8; lengths and
// indices count UTF-16 units, as on Apple's platforms.
class cf_string final : public cf_object
{
public:
    // `utf8` must be valid UTF-8 (the callers decode and check it).
    explicit cf_string(std::string utf8, bool constant = false, bool is_mutable = false);

    static constexpr CFTypeID class_type_id() noexcept { return cf_string_type_id; }

    std::string const& utf8() const noexcept { return utf8_; }
    bool is_ascii() const noexcept { return ascii_; }
    bool is_mutable() const noexcept { return mutable_; }
    CFIndex length() const noexcept { return length_; }

    // The UTF-8 bytes [first, last) of a range of UTF-16 units within the string,
    // or nothing when an end falls between the halves of a surrogate pair.
    std::optional<std::pair<std::size_t, std::size_t>> bytes_of(CFRange range) const noexcept;
    // Replaces the bytes [from, to) of the UTF-8 text with `utf8` (valid UTF-8);
    // the offsets must fall between characters.
    void replace_bytes(std::size_t from, std::size_t to, std::string_view utf8);

    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    std::string description() const override;

private:
    void measure() noexcept;

    std::string utf8_;
    bool ascii_ = true;
    bool mutable_;
    CFIndex length_ = 0;
};

// The interned constant string that CFSTR(text) returns: one immortal object per
// distinct text, made on first use.
cf_string const& constant_string(std::string_view text);

// string.bytes_of(range), for a range already checked to lie within the string;
// when an end splits a surrogate pair, nothing, with a misuse report naming
// `function` (the halves of a pair cannot be parted here).
std::optional<std::pair<std::size_t, std::size_t>> string_bytes_of(cf_string const& string, CFRange range,
                                                                   char const* function);

// The UTF-8 of `count` UniChars given to `function`; nothing, with a misuse report,
// when the input is missing or negative, or holds a lone surrogate, which the UTF-8
// these strings keep cannot carry.
std::optional<std::string> text_of_characters(UniChar const* chars, CFIndex count, char const* function);

// The UTF-8 text of a string given to `function`; empty, with a misuse report,
// when it is NULL or no string.
std::string utf8_of(CFStringRef string, char const* function);

// A new CFString (one reference) holding valid UTF-8 text.
CFStringRef make_cf_string(std::string utf8);
// A new CFMutableString (one reference) holding valid UTF-8 text.
CFMutableStringRef make_cf_mutable_string(std::string utf8);

} // namespace plinth::sim::detail
