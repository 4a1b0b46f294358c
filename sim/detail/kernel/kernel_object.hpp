// The base of every object a task can hold an io_object_t to.
#pragma once

#include <memory>
#include <string_view>

namespace plinth::sim::detail {

// Anything a task can hold a Mach send right to: registry entries, iterators, and
// later notification objects. The handle table names these objects; each kind
// tells its own class, as IOObjectGetClass reports it.
class kernel_object : public std::enable_shared_from_this<kernel_object>
{
public:
    kernel_object() = default;
    kernel_object(kernel_object const&) = delete;
    kernel_object& operator=(kernel_object const&) = delete;
    virtual ~kernel_object() = default;
};

} // namespace plinth::sim::detail
