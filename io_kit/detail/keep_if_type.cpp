#include "io_kit/detail/keep_if_type.hpp"

namespace plinth::apple::io_kit::detail {

CF::AutoPointer keep_if_type(CF::AutoPointer const& pointer, CFTypeID type) noexcept
{
    CFTypeRef const object = pointer.GetTypeRef();
    if (object == nullptr || CFGetTypeID(object) != type)
        return {};
    return pointer;
}

} // namespace plinth::apple::io_kit::detail
