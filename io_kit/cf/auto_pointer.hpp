// CF::AutoPointer: one owned reference to a CF object of any type; copies retain, destruction releases.
#pragma once

#include "io_kit/cf/type.hpp"

namespace CF {

// Owns one reference to a CF object of any type: what IOKit's Create and Copy
// functions hand back. Copying retains, destruction releases (nothing when
// empty), moving transfers and leaves the source empty.
class AutoPointer : public Type
{
public:
    AutoPointer() noexcept = default;

    // Takes over `owned`, a +1 reference (or null), without retaining it again.
    explicit AutoPointer(void const* owned) noexcept;

    AutoPointer(AutoPointer const& other) noexcept;
    AutoPointer(AutoPointer&& other) noexcept;
    AutoPointer& operator=(AutoPointer const& other) noexcept;
    AutoPointer& operator=(AutoPointer&& other) noexcept;
    ~AutoPointer() override;

    CFTypeRef GetTypeRef() const noexcept override;

    void swap(AutoPointer& other) noexcept;

private:
    CFTypeRef object_ = nullptr;
};

} // namespace CF
