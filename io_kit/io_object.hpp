// io_object: one owned reference to an IOKit object; copies retain, destruction releases.
#pragma once

#include "io_kit/io_object_view.hpp"

#include <IOKit/IOKitLib.h>

#include <string>

namespace plinth::apple::io_kit {

// Owns one reference to an IOKit object. Copying takes a new reference
// (IOObjectRetain), destruction gives it back (IOObjectRelease; nothing for a
// null handle, and never throws), moving transfers it and leaves the source null.
class io_object
{
public:
    io_object() noexcept = default;

    // Takes over one reference to `owned` (as returned by an IOKit function that
    // hands out a new reference), or nothing for a null handle.
    explicit io_object(io_object_t owned) noexcept;

    // Throws boost::system::system_error when IOKit refuses the new reference.
    io_object(io_object const& other);
    io_object(io_object&& other) noexcept;
    io_object& operator=(io_object const& other) &;
    // Releases the reference held before and takes `other`'s.
    io_object& operator=(io_object&& other) & noexcept;
    ~io_object();

    io_object_t get() const noexcept;
    io_object_view view() const noexcept;

    // True for a non-null handle.
    explicit operator bool() const noexcept;

    // See io_object_view.
    std::string get_class() const;
    bool conforms_to(char const* class_name) const noexcept;
    bool operator==(io_object const& other) const noexcept;
    bool operator==(io_object_view other) const noexcept;

    void swap(io_object& other) noexcept;

private:
    io_object_t handle_ = IO_OBJECT_NULL;
};

} // namespace plinth::apple::io_kit
