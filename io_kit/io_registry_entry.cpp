// io_registry_entry: parent and child lookups and ID matching; the rest forwards to the entry's view.
#include "io_kit/io_registry_entry.hpp"

#include "io_kit/detail/throw_if_failed.hpp"

#include <utility>

namespace plinth::apple::io_kit {

io_registry_entry::io_registry_entry(io_registry_entry_t owned) noexcept : io_object(owned) {}

io_registry_entry::io_registry_entry(io_object&& object) noexcept : io_object(std::move(object)) {}

CF::Dictionary io_registry_entry::id_matching(unsigned long long id)
{
    // IOKit hands out a new dictionary: the AutoPointer takes that reference over.
    return CF::Dictionary(CF::AutoPointer(IORegistryEntryIDMatching(id)));
}

io_registry_entry_view io_registry_entry::view() const noexcept
{
    return io_registry_entry_view(get());
}

io_registry_entry io_registry_entry::get_parent_entry(char const* plane) const
{
    io_registry_entry_t parent = IO_OBJECT_NULL;
    kern_return_t const result = IORegistryEntryGetParentEntry(get(), plane, &parent);
    if (result == kIOReturnNoDevice)
        return io_registry_entry();
    detail::throw_if_failed(result, "IORegistryEntryGetParentEntry");
    return io_registry_entry(parent);
}

io_iterator io_registry_entry::get_parent_iterator(char const* plane) const
{
    io_iterator_t parents = IO_OBJECT_NULL;
    detail::throw_if_failed(IORegistryEntryGetParentIterator(get(), plane, &parents),
                            "IORegistryEntryGetParentIterator");
    return io_iterator(parents);
}

io_iterator io_registry_entry::get_child_iterator(char const* plane) const
{
    io_iterator_t children = IO_OBJECT_NULL;
    detail::throw_if_failed(IORegistryEntryGetChildIterator(get(), plane, &children),
                            "IORegistryEntryGetChildIterator");
    return io_iterator(children);
}

std::string io_registry_entry::get_name() const
{
    return view().get_name();
}

std::string io_registry_entry::get_name_in_plane(char const* plane) const
{
    return view().get_name_in_plane(plane);
}

std::string io_registry_entry::get_location_in_plane(char const* plane) const
{
    return view().get_location_in_plane(plane);
}

std::string io_registry_entry::get_path(char const* plane) const
{
    return view().get_path(plane);
}

std::uint64_t io_registry_entry::get_registry_entry_id() const
{
    return view().get_registry_entry_id();
}

bool io_registry_entry::in_plane(char const* plane) const noexcept
{
    return view().in_plane(plane);
}

CF::AutoPointer io_registry_entry::create_cf_property_(CF::String const& key, unsigned int options) const noexcept
{
    return view().create_cf_property_(key, options);
}

} // namespace plinth::apple::io_kit
