// The argument check of every CF call: the live object of the expected type, or a misuse report.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <CoreFoundation/CFBase.h>

namespace plinth::sim::detail {

// The object behind a CF reference that a CF function was given, or nullptr after
// reporting misuse (NULL, not a live CF object, or of another type than
// `expected_type`; 0 accepts any type). `function` names the caller in the report.
cf_object* cf_checked_object(CFTypeRef ref, char const* function, CFTypeID expected_type = 0);

// Reports a change attempted on an immutable object.
void report_immutable(cf_object const* object, char const* function);

// The same, typed: T is a CF object class with a static class_type_id().
template <typename T>
T* cf_checked(CFTypeRef ref, char const* function)
{
    return static_cast<T*>(cf_checked_object(ref, function, T::class_type_id()));
}

// For functions that change an object: immutable objects are reported as misuse.
template <typename T>
T* cf_checked_mutable(CFTypeRef ref, char const* function)
{
    T* object = cf_checked<T>(ref, function);
    if (object != nullptr && !object->is_mutable())
    {
        report_immutable(object, function);
        return nullptr;
    }
    return object;
}

} // namespace plinth::sim::detail
