// The CFNumber object: equality across number types, hashing, description.
#include "sim/detail/cf/cf_number.hpp"

#include <array>
#include <cstdio>

namespace plinth::sim::detail {
namespace {

char const* type_name_of(CFNumberType type)
{
    static constexpr std::array names{"kCFNumberSInt8Type",  "kCFNumberSInt16Type",  "kCFNumberSInt32Type",
                                      "kCFNumberSInt64Type", "kCFNumberFloat32Type", "kCFNumberFloat64Type"};
    return type >= 1 && type <= 6 ? names[static_cast<std::size_t>(type - 1)] : "?";
}

} // namespace

cf_number::cf_number(CFNumberType canonical_type, number_value value)
    : cf_object(cf_number_type_id, false), type_(canonical_type), value_(value)
{
}

// By value across types, as CFEqual(SInt32 1, Float64 1.0) is true on Apple's platforms.
bool cf_number::equals(cf_object const& other) const
{
    return compare_numbers(value_, static_cast<cf_number const&>(other).value_) == 0;
}

CFHashCode cf_number::hash() const
{
    return hash_number(value_);
}

std::string cf_number::description() const
{
    std::array<char, 64> text{};
    if (auto const* integer = std::get_if<std::int64_t>(&value_))
        std::snprintf(text.data(), text.size(), "%+lld", static_cast<long long>(*integer));
    else
        std::snprintf(text.data(), text.size(), "%+.*g", 17, std::get<double>(value_));
    return description_head() + "{value = " + text.data() + ", type = " + type_name_of(type_) + "}";
}

} // namespace plinth::sim::detail
