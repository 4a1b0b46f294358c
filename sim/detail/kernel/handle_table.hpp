// The task's name space of kernel objects: io_object_t names with user reference counts.
#pragma once

#include "sim/detail/kernel/kernel_object.hpp"

#include <IOKit/IOTypes.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace plinth::sim::detail {

// The task's Mach port name space for kernel objects: one name per object, with a
// count of user references. A name dies when its last reference is released and
// is never handed out again in this process, so that a use after release is seen
// rather than landing on another object.
class handle_table
{
public:
    static handle_table& instance();

    // Adds one user reference to the object's name, making a name if it has none.
    io_object_t add_reference(std::shared_ptr<kernel_object> object);

    // The object a live name denotes, or null for a dead or never issued name.
    std::shared_ptr<kernel_object> find(io_object_t name) const;

    // KERN_SUCCESS, or KERN_INVALID_NAME for a name that is not live.
    kern_return_t retain(io_object_t name);
    kern_return_t release(io_object_t name);

    // 0 for a name that is not live.
    std::uint32_t user_references(io_object_t name) const;

    std::size_t live_count() const;

private:
    handle_table() = default;

    struct slot
    {
        std::shared_ptr<kernel_object> object;
        std::uint32_t user_references = 0;
    };

    mutable std::mutex mutex_;
    std::unordered_map<io_object_t, slot> by_name_;
    std::unordered_map<kernel_object const*, io_object_t> by_object_;
    io_object_t next_name_ = 0; // 0: not started yet
};

} // namespace plinth::sim::detail
