// io_object_view: IOObjectGetClass, IOObjectConformsTo and IOObjectIsEqualTo, null handles answered here.
#include "io_kit/io_object_view.hpp"

#include "io_kit/detail/throw_if_failed.hpp"

#include <cstring>

namespace plinth::apple::io_kit {

io_object_view::io_object_view(io_object_t handle) noexcept : handle_(handle) {}

io_object_t io_object_view::get() const noexcept
{
    return handle_;
}

io_object_view::operator bool() const noexcept
{
    return handle_ != IO_OBJECT_NULL;
}

std::string io_object_view::get_class() const
{
    io_name_t name{};
    detail::throw_if_failed(IOObjectGetClass(handle_, name), "IOObjectGetClass");
    return std::string(name, ::strnlen(name, sizeof name));
}

bool io_object_view::conforms_to(char const* class_name) const noexcept
{
    if (handle_ == IO_OBJECT_NULL || class_name == nullptr)
        return false;
    // boolean_t is int on arm64 and unsigned int on x86-64: compare with zero only.
    return IOObjectConformsTo(handle_, class_name) != 0;
}

bool io_object_view::operator==(io_object_view other) const noexcept
{
    // A null handle is no object: IOKit would only answer that it differs from
    // every live one, so it is not asked.
    if (handle_ == IO_OBJECT_NULL || other.handle_ == IO_OBJECT_NULL)
        return handle_ == other.handle_;
    return IOObjectIsEqualTo(handle_, other.handle_) != 0;
}

} // namespace plinth::apple::io_kit
