// The base of every CF object: retain counts and the default equality, hash and description.
#include "sim/detail/cf/cf_object.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"

#include <functional>
#include <limits>
#include <sstream>

namespace plinth::sim::detail {

std::string cf_object::type_name() const
{
    return cf_type_registry::name_of(type_id_);
}

// Constants report the largest count, as Apple's constant objects report a
// count far above any real one.
CFIndex cf_object::retain_count() const noexcept
{
    return constant_ ? std::numeric_limits<CFIndex>::max() : references_.load(std::memory_order_relaxed);
}

void cf_object::retain() const noexcept
{
    if (!constant_)
        references_.fetch_add(1, std::memory_order_relaxed);
}

bool cf_object::release() const noexcept
{
    if (constant_)
        return false;
    // acq_rel: the thread that frees must see every other thread's last writes.
    return references_.fetch_sub(1, std::memory_order_acq_rel) == 1;
}

bool cf_object::equals(cf_object const& other) const
{
    return this == &other;
}

CFHashCode cf_object::hash() const
{
    return std::hash<void const*>{}(this);
}

std::string cf_object::description() const
{
    return description_head();
}

std::string cf_object::description_head() const
{
    std::ostringstream out;
    out << '<' << type_name() << ' ' << static_cast<void const*>(this) << '>';
    return out.str();
}

} // namespace plinth::sim::detail
