// CF::Number: a CFNumber wrapper whose int conversion narrows as a C cast does.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/type.hpp"

namespace CF {

// A CFNumber, or nothing.
class Number : public Type
{
public:
    Number() noexcept = default;

    // Shares the object that `pointer` holds when it is a CFNumber; empty otherwise.
    // A CFBoolean is not a CFNumber and gives an empty Number.
    explicit Number(AutoPointer const& pointer) noexcept;

    CFTypeRef GetTypeRef() const noexcept override;

    // The value as a signed 32-bit integer; 0 when empty. A number that does not
    // fit converts as a C cast would, which is what CFNumberGetValue stores for a
    // lossy conversion: a wider integer keeps its low 32 bits (0x100000001 gives 1,
    // 0xFFFFFFFF gives -1) and a floating-point value is truncated toward zero.
    explicit operator int() const noexcept;

private:
    AutoPointer number_;
};

} // namespace CF
