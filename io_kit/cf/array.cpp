// CF::Array: the CFArray calls, an out-of-range index answered with an empty pointer.
#include "io_kit/cf/array.hpp"

#include "io_kit/detail/keep_if_type.hpp"
#include "io_kit/detail/share.hpp"

namespace CF {

Array::Array(AutoPointer const& pointer) noexcept
    : array_(plinth::apple::io_kit::detail::keep_if_type(pointer, CFArrayGetTypeID()))
{
}

CFTypeRef Array::GetTypeRef() const noexcept
{
    return array_.GetTypeRef();
}

CFIndex Array::GetCount() const noexcept
{
    auto const array = static_cast<CFArrayRef>(GetTypeRef());
    return array != nullptr ? CFArrayGetCount(array) : 0;
}

AutoPointer Array::GetValueAtIndex(CFIndex index) const noexcept
{
    if (index < 0 || index >= GetCount())
        return {};
    // CFArrayGetValueAtIndex follows the Get rule; the result gets its own reference.
    return plinth::apple::io_kit::detail::share(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(GetTypeRef()), index));
}

} // namespace CF
