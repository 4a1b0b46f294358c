// io_registry_entry_view: the IORegistryEntry queries, reading IOKit's fixed-size name buffers safely.
#include "io_kit/io_registry_entry_view.hpp"

#include "io_kit/detail/throw_if_failed.hpp"

#include <cstring>

namespace plinth::apple::io_kit {
namespace {

// IOKit fills fixed-size buffers; they are NUL-terminated, but bounded anyway.
template <std::size_t Size>
std::string to_string(char const (&buffer)[Size])
{
    return std::string(buffer, ::strnlen(buffer, Size));
}

} // namespace

std::string io_registry_entry_view::get_name() const
{
    io_name_t name{};
    detail::throw_if_failed(IORegistryEntryGetName(get(), name), "IORegistryEntryGetName");
    return to_string(name);
}

std::string io_registry_entry_view::get_name_in_plane(char const* plane) const
{
    io_name_t name{};
    detail::throw_if_failed(IORegistryEntryGetNameInPlane(get(), plane, name), "IORegistryEntryGetNameInPlane");
    return to_string(name);
}

std::string io_registry_entry_view::get_location_in_plane(char const* plane) const
{
    io_name_t location{};
    detail::throw_if_failed(IORegistryEntryGetLocationInPlane(get(), plane, location),
                            "IORegistryEntryGetLocationInPlane");
    return to_string(location);
}

std::string io_registry_entry_view::get_path(char const* plane) const
{
    io_string_t path{};
    detail::throw_if_failed(IORegistryEntryGetPath(get(), plane, path), "IORegistryEntryGetPath");
    return to_string(path);
}

std::uint64_t io_registry_entry_view::get_registry_entry_id() const
{
    std::uint64_t id = 0;
    detail::throw_if_failed(IORegistryEntryGetRegistryEntryID(get(), &id), "IORegistryEntryGetRegistryEntryID");
    return id;
}

bool io_registry_entry_view::in_plane(char const* plane) const noexcept
{
    if (get() == IO_OBJECT_NULL || plane == nullptr)
        return false;
    return IORegistryEntryInPlane(get(), plane) != 0;
}

CF::AutoPointer io_registry_entry_view::create_cf_property_(CF::String const& key, unsigned int options) const noexcept
{
    auto const key_string = static_cast<CFStringRef>(key.GetTypeRef());
    if (get() == IO_OBJECT_NULL || key_string == nullptr)
        return {};
    return CF::AutoPointer(IORegistryEntryCreateCFProperty(get(), key_string, kCFAllocatorDefault, options));
}

} // namespace plinth::apple::io_kit
