// The CFNumber object of the CF model.
#pragma once

#include "sim/detail/cf/cf_number_conversion.hpp"
#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <string>

namespace plinth::sim::detail {

// An immutable CFNumber: a value and the canonical type it was made as.
class cf_number final : public cf_object
{
public:
    cf_number(CFNumberType canonical_type, number_value value);

    static constexpr CFTypeID class_type_id() noexcept { return cf_number_type_id; }

    CFNumberType type() const noexcept { return type_; }
    number_value const& value() const noexcept { return value_; }

    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    std::string description() const override;

private:
    CFNumberType type_;
    number_value value_;
};

} // namespace plinth::sim::detail
