// io_object: IOObjectRetain/IOObjectRelease behind copy, move and destruction; a release never throws.
#include "io_kit/io_object.hpp"

#include "io_kit/detail/throw_if_failed.hpp"

#include <utility>

namespace plinth::apple::io_kit {

io_object::io_object(io_object_t owned) noexcept : handle_(owned) {}

io_object::io_object(io_object const& other) : handle_(other.handle_)
{
    if (handle_ != IO_OBJECT_NULL)
        detail::throw_if_failed(IOObjectRetain(handle_), "IOObjectRetain");
}

io_object::io_object(io_object&& other) noexcept : handle_(std::exchange(other.handle_, IO_OBJECT_NULL)) {}

io_object& io_object::operator=(io_object const& other) &
{
    io_object(other).swap(*this);
    return *this;
}

io_object& io_object::operator=(io_object&& other) & noexcept
{
    // Through a temporary, so that a self-move keeps the reference.
    io_object(std::move(other)).swap(*this);
    return *this;
}

io_object::~io_object()
{
    // A failed release cannot be reported from here; IOKit only fails it for a
    // handle that was never ours.
    if (handle_ != IO_OBJECT_NULL)
        (void)IOObjectRelease(handle_);
}

io_object_t io_object::get() const noexcept
{
    return handle_;
}

io_object_view io_object::view() const noexcept
{
    return io_object_view(handle_);
}

io_object::operator bool() const noexcept
{
    return handle_ != IO_OBJECT_NULL;
}

std::string io_object::get_class() const
{
    return view().get_class();
}

bool io_object::conforms_to(char const* class_name) const noexcept
{
    return view().conforms_to(class_name);
}

bool io_object::operator==(io_object const& other) const noexcept
{
    return view() == other.view();
}

bool io_object::operator==(io_object_view other) const noexcept
{
    return view() == other;
}

void io_object::swap(io_object& other) noexcept
{
    std::swap(handle_, other.handle_);
}

} // namespace plinth::apple::io_kit
