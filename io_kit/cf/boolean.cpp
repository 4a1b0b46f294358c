// CF::Boolean: the type check on construction and CFBooleanGetValue.
#include "io_kit/cf/boolean.hpp"

#include "io_kit/detail/keep_if_type.hpp"

namespace CF {

Boolean::Boolean(AutoPointer const& pointer) noexcept
    : boolean_(plinth::apple::io_kit::detail::keep_if_type(pointer, CFBooleanGetTypeID()))
{
}

CFTypeRef Boolean::GetTypeRef() const noexcept
{
    return boolean_.GetTypeRef();
}

Boolean::operator bool() const noexcept
{
    auto const boolean = static_cast<CFBooleanRef>(GetTypeRef());
    return boolean != nullptr && CFBooleanGetValue(boolean) != 0;
}

} // namespace CF
