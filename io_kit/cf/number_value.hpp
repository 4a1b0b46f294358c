// CF::NumberValue: a CF number's value at its own width and kind, integer or floating point.
#pragma once

#include "io_kit/cf/number.hpp"

#include <cstdint>

namespace CF {

// A number's value at the width and kind its CF type holds, where
// Number::operator int narrows everything to 32 bits.
struct NumberValue
{
    bool is_float = false;
    std::int64_t integer = 0; // the value when !is_float (a float's is truncated here)
    double real = 0.0;        // the value when is_float (an integer's converted here)
    CFIndex byte_size = 0;    // bytes of the number's own type: 4 for SInt32, 8 for SInt64
};

// The value of `number`; all zero when the wrapper is empty.
NumberValue GetNumberValue(Number const& number) noexcept;

} // namespace CF
