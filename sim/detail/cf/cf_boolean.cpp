// The two CFBoolean singletons.
#include "sim/detail/cf/cf_boolean.hpp"

__CFBoolean const& __CFBoolean::true_value() noexcept
{
    return *kCFBooleanTrue;
}

__CFBoolean const& __CFBoolean::false_value() noexcept
{
    return *kCFBooleanFalse;
}

// The booleans are singletons, so identity equality (the default) is value equality.
CFHashCode __CFBoolean::hash() const
{
    return value_ ? 1 : 0;
}

std::string __CFBoolean::description() const
{
    return description_head() + (value_ ? "{value = true}" : "{value = false}");
}
