// The CFString object: its UTF-8 text, UTF-16 length, equality, hashing.
#include "sim/detail/cf/cf_string.hpp"

#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_text_encoding.hpp"

#include <algorithm>
#include <functional>

namespace plinth::sim::detail {

cf_string::cf_string(std::string utf8, bool constant)
    : cf_object(cf_string_type_id, constant),
      utf8_(std::move(utf8)),
      ascii_(std::ranges::all_of(utf8_, [](char c) { return static_cast<unsigned char>(c) < 0x80; })),
      length_(static_cast<CFIndex>(ascii_ ? utf8_.size() : utf16_length(utf8_)))
{
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

CFStringRef make_cf_string(std::string utf8)
{
    return cf_ref<CFStringRef>(make_cf_object<cf_string>(std::move(utf8)));
}

} // namespace plinth::sim::detail
