// CF::Data: the type check on construction and the CFData byte and length calls.
#include "io_kit/cf/data.hpp"

#include "io_kit/detail/keep_if_type.hpp"

namespace CF {

Data::Data(AutoPointer const& pointer) noexcept
    : data_(plinth::apple::io_kit::detail::keep_if_type(pointer, CFDataGetTypeID()))
{
}

CFTypeRef Data::GetTypeRef() const noexcept
{
    return data_.GetTypeRef();
}

UInt8 const* Data::GetBytePtr() const noexcept
{
    auto const data = static_cast<CFDataRef>(GetTypeRef());
    return data != nullptr ? CFDataGetBytePtr(data) : nullptr;
}

CFIndex Data::GetLength() const noexcept
{
    auto const data = static_cast<CFDataRef>(GetTypeRef());
    return data != nullptr ? CFDataGetLength(data) : 0;
}

} // namespace CF
