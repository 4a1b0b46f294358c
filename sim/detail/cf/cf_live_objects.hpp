// The set of live CF objects: what CF calls check their arguments against, and what tests count.
#pragma once

#include <cstddef>
#include <mutex>
#include <unordered_set>

namespace plinth::sim::detail {

class cf_object;

// The CF objects that exist now. Every CF call looks its argument up here (one
// mutex, one hash probe) before touching it, so that a released or foreign pointer
// is reported as misuse instead of being dereferenced: a freed object's address is
// simply absent. The one use after release this cannot see is of an address that
// the heap has already given to a new CF object.
class cf_live_objects
{
public:
    // Never destroyed, so that CF objects released by other static destructors
    // at exit still find it.
    static cf_live_objects& instance();

    void add(cf_object const* object);
    void add_constant(cf_object const* object);
    void remove(cf_object const* object);

    bool contains(void const* pointer) const;

    // Objects that are not constants.
    std::size_t count() const;

private:
    cf_live_objects();

    mutable std::mutex mutex_;
    std::unordered_set<void const*> objects_;
    std::size_t constants_ = 0;
};

} // namespace plinth::sim::detail
