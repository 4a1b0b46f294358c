// keep_if_type: a new reference to a CF object of the wanted type, or an empty pointer for any other type.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"

#include <CoreFoundation/CoreFoundation.h>

namespace plinth::apple::io_kit::detail {

// A new reference to the object that `pointer` holds when that object is of CF
// type `type`, otherwise an empty pointer: how every typed CF wrapper turns an
// untyped property value into itself or into nothing, without throwing.
CF::AutoPointer keep_if_type(CF::AutoPointer const& pointer, CFTypeID type) noexcept;

} // namespace plinth::apple::io_kit::detail
