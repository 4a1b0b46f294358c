// CF::GetNumberValue: reads a number as 64-bit integer and double and records its byte size and kind.
#include "io_kit/cf/number_value.hpp"

namespace CF {

NumberValue GetNumberValue(Number const& number) noexcept
{
    auto const object = static_cast<CFNumberRef>(number.GetTypeRef());
    if (object == nullptr)
        return {};
    NumberValue value;
    value.is_float = CFNumberIsFloatType(object) != 0;
    value.byte_size = CFNumberGetByteSize(object);
    // Both reads may report a lossy conversion; the stored values are what a C
    // cast gives, and the caller picks the one that matches is_float.
    (void)CFNumberGetValue(object, kCFNumberSInt64Type, &value.integer);
    (void)CFNumberGetValue(object, kCFNumberFloat64Type, &value.real);
    return value;
}

} // namespace CF
