// Making and destroying CF objects, so that the live-object set sees each one.
#pragma once

#include "sim/detail/cf/cf_live_objects.hpp"
#include "sim/detail/cf/cf_object.hpp"

#include <utility>

namespace plinth::sim::detail {

// Makes a CF object with one reference, known to the live-object set.
template <typename T, typename... Args>
T* make_cf_object(Args&&... args)
{
    auto* object = new T(std::forward<Args>(args)...);
    cf_live_objects::instance().add(object);
    return object;
}

// Frees an object whose last reference was released.
inline void destroy_cf_object(cf_object const* object)
{
    cf_live_objects::instance().remove(object);
    delete object;
}

} // namespace plinth::sim::detail
