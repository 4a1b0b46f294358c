// The CFBoolean object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <CoreFoundation/CFNumber.h>

#include <string>

// The two booleans. Apple's opaque type is the implementation itself, so that
// kCFBooleanTrue and kCFBooleanFalse are addresses of constant-initialised objects,
// valid before any start-up code of any library runs.
struct __CFBoolean final : plinth::sim::detail::cf_object
{
    explicit constexpr __CFBoolean(bool value) noexcept
        : cf_object(plinth::sim::detail::cf_boolean_type_id, true), value_(value)
    {
    }

    static constexpr CFTypeID class_type_id() noexcept { return plinth::sim::detail::cf_boolean_type_id; }
    static __CFBoolean const& true_value() noexcept;
    static __CFBoolean const& false_value() noexcept;

    bool value() const noexcept { return value_; }

    CFHashCode hash() const override;
    std::string description() const override;

private:
    bool value_;
};

namespace plinth::sim::detail {
using cf_boolean = ::__CFBoolean;
} // namespace plinth::sim::detail
