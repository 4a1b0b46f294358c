#include "tools/plinth-ioreg/registry/registry_entry.hpp"

#include <utility>

namespace plinth::ioreg_tool {

registry_entry::registry_entry(apple::io_kit::io_registry_entry entry) noexcept
    : view_(entry.get()), device_(std::move(entry))
{
}

registry_entry::operator bool() const noexcept
{
    return static_cast<bool>(device_);
}

apple::device const& registry_entry::device() const noexcept
{
    return device_;
}

apple::io_kit::io_registry_entry_view registry_entry::view() const noexcept
{
    return view_;
}

std::vector<registry_entry> registry_entry::children(plane p) const
{
    return drain(device_.get_children(p));
}

std::vector<registry_entry> registry_entry::parents(plane p) const
{
    return drain(device_.get_parents(p));
}

std::vector<registry_entry> drain(apple::io_kit::io_iterator iterator)
{
    std::vector<registry_entry> entries;
    while (auto object = iterator.next())
        entries.emplace_back(apple::io_kit::io_registry_entry(std::move(object)));
    return entries;
}

} // namespace plinth::ioreg_tool
