// CF::Dictionary: a CFDictionary wrapper (matching dictionaries, property sets): count and lookup by key.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/cf/type.hpp"

namespace CF {

// A CFDictionary (such as an IOKit matching dictionary), or nothing.
class Dictionary : public Type
{
public:
    Dictionary() noexcept = default;

    // Shares `dictionary` (Get rule: it is retained, the caller keeps its own reference).
    explicit Dictionary(CFDictionaryRef dictionary) noexcept;

    // Shares the object that `pointer` holds when it is a CFDictionary; empty otherwise.
    explicit Dictionary(AutoPointer const& pointer) noexcept;

    CFTypeRef GetTypeRef() const noexcept override;

    // The number of entries; 0 when empty.
    CFIndex GetCount() const noexcept;

    // A new reference to the value stored under `key`; empty when there is none or
    // either wrapper is empty.
    AutoPointer GetValue(String const& key) const noexcept;

private:
    AutoPointer dictionary_;
};

} // namespace CF
