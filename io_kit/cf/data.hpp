// CF::Data: a CFData wrapper giving its bytes and length.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/type.hpp"

namespace CF {

// A CFData, or nothing.
class Data : public Type
{
public:
    Data() noexcept = default;

    // Shares the object that `pointer` holds when it is a CFData; empty otherwise.
    explicit Data(AutoPointer const& pointer) noexcept;

    CFTypeRef GetTypeRef() const noexcept override;

    // The bytes, valid while this wrapper (or another reference) keeps the object;
    // null when empty.
    UInt8 const* GetBytePtr() const noexcept;

    // The number of bytes; 0 when empty.
    CFIndex GetLength() const noexcept;

private:
    AutoPointer data_;
};

} // namespace CF
