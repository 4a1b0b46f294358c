// property_as: a device property as the one value kind asked for, never converted.
#pragma once

#include "device/apple/device.hpp"

namespace plinth::apple::detail {

// The property `key` as the value kind T: get_property's error when it is absent,
// mpark::bad_variant_access when it holds another kind. The views never convert.
template <typename T>
T property_as(device const& d, char const* key)
{
    return mpark::get<T>(d.get_property(key));
}

} // namespace plinth::apple::detail
