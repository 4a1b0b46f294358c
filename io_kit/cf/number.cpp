// CF::Number: the type check, and a 64-bit read narrowed to int here so the result is always the C cast.
#include "io_kit/cf/number.hpp"

#include "io_kit/detail/keep_if_type.hpp"

#include <cstdint>

namespace CF {

Number::Number(AutoPointer const& pointer) noexcept
    : number_(plinth::apple::io_kit::detail::keep_if_type(pointer, CFNumberGetTypeID()))
{
}

CFTypeRef Number::GetTypeRef() const noexcept
{
    return number_.GetTypeRef();
}

Number::operator int() const noexcept
{
    auto const number = static_cast<CFNumberRef>(GetTypeRef());
    if (number == nullptr)
        return 0;
    // Read at 64 bits, which holds every integer the registry publishes exactly, and
    // narrow here: the result is then the C cast whatever the CF implementation does
    // with an out-of-range request. The "lossy" flag is of no use to the caller.
    std::int64_t value = 0;
    (void)CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return static_cast<int>(static_cast<std::int32_t>(value));
}

} // namespace CF
