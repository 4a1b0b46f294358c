// Looking handles up for the IOKit entry points, with the errors and misuse reports IOKit calls give.
#pragma once

#include "sim/detail/kernel/iterator_object.hpp"
#include "sim/detail/registry/registry_entry.hpp"

#include <IOKit/IOTypes.h>

#include <memory>

namespace plinth::sim::detail {

// What a call finds behind a handle: the object, or the error IOKit gives for it.
template <typename Object>
struct lookup_result
{
    std::shared_ptr<Object> object;
    kern_return_t error = KERN_SUCCESS;

    explicit operator bool() const noexcept { return object != nullptr; }
};

// The object behind a handle. A null handle fails with MACH_SEND_INVALID_DEST
// quietly, as passing IO_OBJECT_NULL is how callers say "none"; a dead or never
// issued name fails the same way and is reported as misuse, and so is an object
// of the wrong kind (kIOReturnBadArgument). `call` names the IOKit function.
lookup_result<kernel_object> lookup_object(io_object_t handle, char const* call);
lookup_result<registry_entry> lookup_entry(io_object_t handle, char const* call);
lookup_result<iterator_object> lookup_iterator(io_object_t handle, char const* call);

// Whether `port` is one that the registry calls accept as the main port; reports
// misuse when it is not.
bool accept_main_port(mach_port_t port, char const* call);

// The name that IOMainPort hands out for the main port.
inline constexpr mach_port_t main_port_name = 0xb03;

// A new user reference to an entry (the handle a call returns), 0 for null.
io_object_t hand_out(std::shared_ptr<kernel_object> object);

} // namespace plinth::sim::detail
