// share: CFRetain for a non-null object, taken over by an AutoPointer.
#include "io_kit/detail/share.hpp"

namespace plinth::apple::io_kit::detail {

CF::AutoPointer share(CFTypeRef object) noexcept
{
    return CF::AutoPointer(object != nullptr ? CFRetain(object) : nullptr);
}

} // namespace plinth::apple::io_kit::detail
