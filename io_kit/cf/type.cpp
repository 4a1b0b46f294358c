// CF::Type: its destructor, so the vtable lives in this library, and IsValid.
#include "io_kit/cf/type.hpp"

namespace CF {

// Defined here so that the vtable lives in this library only.
Type::~Type() = default;

bool Type::IsValid() const noexcept
{
    return GetTypeRef() != nullptr;
}

} // namespace CF
