// hid_field: the usage of an item or of an array value, and the physical value of a logical one.
#include "hid/field.hpp"

#include <cmath>

namespace plinth::apple {
namespace {

// The usage at `position` counted across the ranges, the last one repeating past their end.
std::optional<hid_usage> usage_at(std::vector<hid_usage_range> const& usages, std::uint64_t position) noexcept
{
    if (usages.empty())
        return std::nullopt;
    for (auto const& range : usages)
    {
        if (position < range.size())
            return hid_usage::from_extended(static_cast<std::uint32_t>(range.first + position));
        position -= range.size();
    }
    return hid_usage::from_extended(usages.back().last);
}

} // namespace

std::optional<hid_usage> hid_field::usage_of_item(std::uint32_t index) const noexcept
{
    if (index >= count)
        return std::nullopt;
    return usage_at(usages, index);
}

std::optional<hid_usage> hid_field::usage_of_value(std::int64_t logical) const noexcept
{
    if (!in_logical_range(logical))
        return std::nullopt;
    auto const position = static_cast<std::uint64_t>(logical - logical_minimum);
    // An array names no usage past its last one: the value is a null state.
    std::uint64_t total = 0;
    for (auto const& range : usages)
        total += range.size();
    if (position >= total)
        return std::nullopt;
    return usage_at(usages, position);
}

double hid_field::physical_value(std::int32_t logical) const noexcept
{
    bool const no_physical = physical_minimum == 0 && physical_maximum == 0;
    double const low = no_physical ? logical_minimum : physical_minimum;
    double const high = no_physical ? logical_maximum : physical_maximum;
    double value = low;
    if (logical_maximum != logical_minimum)
        value = low + (static_cast<double>(logical) - logical_minimum) * (high - low) /
                          (static_cast<double>(logical_maximum) - static_cast<double>(logical_minimum));
    return value * std::pow(10.0, unit_exponent);
}

} // namespace plinth::apple
