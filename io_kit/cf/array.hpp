// CF::Array: a CFArray wrapper (how an OSArray property reads back): count and values by index.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/type.hpp"

namespace CF {

// A CFArray (what an OSArray property reads back as), or nothing.
class Array : public Type
{
public:
    Array() noexcept = default;

    // Shares the object that `pointer` holds when it is a CFArray; empty otherwise.
    explicit Array(AutoPointer const& pointer) noexcept;

    CFTypeRef GetTypeRef() const noexcept override;

    // The number of values; 0 when empty.
    CFIndex GetCount() const noexcept;

    // A new reference to the value at `index`; empty when the index is out of range
    // or the wrapper empty (CoreFoundation itself leaves that case undefined).
    AutoPointer GetValueAtIndex(CFIndex index) const noexcept;

private:
    AutoPointer array_;
};

} // namespace CF
