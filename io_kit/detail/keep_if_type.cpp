// keep_if_type: the CFGetTypeID check behind every typed CF wrapper's constructor.
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
