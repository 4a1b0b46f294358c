// The set of live CF objects that every CF call checks its arguments against.
#include "sim/detail/cf/cf_live_objects.hpp"

#include "sim/detail/cf/cf_boolean.hpp"
#include "sim/detail/cf/cf_object.hpp"

namespace plinth::sim::detail {

cf_live_objects& cf_live_objects::instance()
{
    static auto* const objects = new cf_live_objects;
    return *objects;
}

// The booleans are constant-initialised globals and cannot enrol themselves.
cf_live_objects::cf_live_objects()
{
    add_constant(&cf_boolean::true_value());
    add_constant(&cf_boolean::false_value());
}

void cf_live_objects::add(cf_object const* object)
{
    std::lock_guard lock(mutex_);
    objects_.insert(object->ref());
}

void cf_live_objects::add_constant(cf_object const* object)
{
    std::lock_guard lock(mutex_);
    if (objects_.insert(object->ref()).second)
        ++constants_;
}

void cf_live_objects::remove(cf_object const* object)
{
    std::lock_guard lock(mutex_);
    objects_.erase(object->ref());
}

bool cf_live_objects::contains(void const* pointer) const
{
    std::lock_guard lock(mutex_);
    return objects_.contains(pointer);
}

std::size_t cf_live_objects::count() const
{
    std::lock_guard lock(mutex_);
    return objects_.size() - constants_;
}

} // namespace plinth::sim::detail
