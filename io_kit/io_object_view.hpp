// io_object_view: a non-owning IOKit object handle with class, conformance and identity queries.
#pragma once

#include <IOKit/IOKitLib.h>

#include <string>

namespace plinth::apple::io_kit {

// A non-owning look at an IOKit object handle: it never retains or releases, so it
// must not outlive the reference that keeps the object alive.
class io_object_view
{
public:
    io_object_view() noexcept = default;
    explicit io_object_view(io_object_t handle) noexcept;

    io_object_t get() const noexcept;

    // True for a non-null handle.
    explicit operator bool() const noexcept;

    // The object's class name as IOKit reports it (IOObjectGetClass); throws
    // boost::system::system_error on failure, a null handle included.
    std::string get_class() const;

    // Whether the object is of class `class_name` or derives from it
    // (IOObjectConformsTo); false for a null handle.
    bool conforms_to(char const* class_name) const noexcept;

    // IOKit object identity (IOObjectIsEqualTo); two null handles are equal.
    bool operator==(io_object_view other) const noexcept;

private:
    io_object_t handle_ = IO_OBJECT_NULL;
};

} // namespace plinth::apple::io_kit
