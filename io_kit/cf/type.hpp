// CF::Type: the base of every CF value wrapper: the CF object held, or nothing.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace CF {

// What every CF value wrapper offers: the CF object it holds, or nothing.
//
// GetTypeRef is deliberately the first virtual function after the destructor, so
// that code built against these wrappers finds it at the same place in the table.
class Type
{
public:
    virtual ~Type();

    // The held object (still owned by the wrapper), or null when it holds nothing.
    virtual CFTypeRef GetTypeRef() const noexcept = 0;

    // True when the wrapper holds an object.
    bool IsValid() const noexcept;

protected:
    Type() noexcept = default;
    // Protected so that a wrapper cannot be sliced into a bare Type.
    Type(Type const&) noexcept = default;
    Type(Type&&) noexcept = default;
    Type& operator=(Type const&) noexcept = default;
    Type& operator=(Type&&) noexcept = default;
};

} // namespace CF
