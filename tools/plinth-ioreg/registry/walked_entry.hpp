// One registry entry as the tool walks it: the library's device and a view of the same handle.
#pragma once

#include "device/apple/device.hpp"
#include "device/apple/plane.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_registry_entry_view.hpp"

#include <vector>

namespace plinth::ioreg_tool {

// One registry entry as the tool reads it: the library's device for every query
// the library has, and a view of the same handle for the one it lacks (listing
// the entry's property keys). The device owns the reference that keeps the
// view's handle alive.
class walked_entry
{
public:
    walked_entry() noexcept = default;
    explicit walked_entry(apple::io_kit::io_registry_entry entry) noexcept;

    // True when the entry handle is not null.
    explicit operator bool() const noexcept;

    apple::device const& device() const noexcept;
    apple::io_kit::io_registry_entry_view view() const noexcept;

    // The entry's direct children / its parents in `p`, in attach order.
    std::vector<walked_entry> children(plane p) const;
    std::vector<walked_entry> parents(plane p) const;

private:
    apple::io_kit::io_registry_entry_view view_;
    apple::device device_;
};

// Every entry that `iterator` yields, until it is exhausted.
std::vector<walked_entry> drain(apple::io_kit::io_iterator iterator);

} // namespace plinth::ioreg_tool
