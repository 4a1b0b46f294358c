// CF::Set: a CFSet wrapper (how an OSSet property reads back): count and all values.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/type.hpp"

#include <vector>

namespace CF {

// A CFSet (what an OSSet property reads back as), or nothing.
class Set : public Type
{
public:
    Set() noexcept = default;

    // Shares the object that `pointer` holds when it is a CFSet; empty otherwise.
    explicit Set(AutoPointer const& pointer) noexcept;

    CFTypeRef GetTypeRef() const noexcept override;

    // The number of values; 0 when empty.
    CFIndex GetCount() const noexcept;

    // A new reference to every value, in the order CoreFoundation gives them (a set
    // has no order of its own); none when empty.
    std::vector<AutoPointer> GetValues() const;

private:
    AutoPointer set_;
};

} // namespace CF
