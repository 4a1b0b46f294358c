// The CFString object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <string>
#include <string_view>

namespace plinth::sim::detail {

// An immutable CFString. The text is kept as valid UTF-8; lengths and indices
// count UTF-16 units, as on Apple's platforms.
class cf_string final : public cf_object
{
public:
    // `utf8` must be valid UTF-8 (the callers decode and check it).
    explicit cf_string(std::string utf8, bool constant = false);

    static constexpr CFTypeID class_type_id() noexcept { return cf_string_type_id; }

    std::string const& utf8() const noexcept { return utf8_; }
    bool is_ascii() const noexcept { return ascii_; }
    CFIndex length() const noexcept { return length_; }

    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    std::string description() const override;

private:
    std::string utf8_;
    bool ascii_;
    CFIndex length_;
};

// The interned constant string that CFSTR(text) returns: one immortal object per
// distinct text, made on first use.
cf_string const& constant_string(std::string_view text);

// A new CFString (one reference) holding valid UTF-8 text.
CFStringRef make_cf_string(std::string utf8);

} // namespace plinth::sim::detail
