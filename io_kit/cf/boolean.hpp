// CF::Boolean: a CFBoolean wrapper whose bool conversion is the value held, not validity.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/type.hpp"

namespace CF {

// A CFBoolean, or nothing.
class Boolean : public Type
{
public:
    Boolean() noexcept = default;

    // Shares the object that `pointer` holds when it is a CFBoolean; empty otherwise.
    explicit Boolean(AutoPointer const& pointer) noexcept;

    CFTypeRef GetTypeRef() const noexcept override;

    // The truth value held (false when empty): not whether the wrapper holds an
    // object, which IsValid tells.
    explicit operator bool() const noexcept;

private:
    AutoPointer boolean_;
};

} // namespace CF
