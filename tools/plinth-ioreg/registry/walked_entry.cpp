// One registry entry as the tool walks it, and its children and parents in a plane.
#include "tools/plinth-ioreg/registry/walked_entry.hpp"

#include <utility>

namespace plinth::ioreg_tool {

walked_entry::walked_entry(apple::io_kit::io_registry_entry entry) noexcept
    : view_(entry.get()), device_(std::move(entry))
{
}

walked_entry::operator bool() const noexcept
{
    return static_cast<bool>(device_);
}

apple::device const& walked_entry::device() const noexcept
{
    return device_;
}

apple::io_kit::io_registry_entry_view walked_entry::view() const noexcept
{
    return view_;
}

std::vector<walked_entry> walked_entry::children(plane p) const
{
    return drain(device_.get_children(p));
}

std::vector<walked_entry> walked_entry::parents(plane p) const
{
    return drain(device_.get_parents(p));
}

std::vector<walked_entry> drain(apple::io_kit::io_iterator iterator)
{
    std::vector<walked_entry> entries;
    while (auto object = iterator.next())
        entries.emplace_back(apple::io_kit::io_registry_entry(std::move(object)));
    return entries;
}

} // namespace plinth::ioreg_tool
