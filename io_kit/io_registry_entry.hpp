// io_registry_entry: an owned I/O Registry entry: its parents, children, names, path, ID and properties.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/dictionary.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_object.hpp"
#include "io_kit/io_registry_entry_view.hpp"

#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <string>

namespace plinth::apple::io_kit {

// Owns a reference to an I/O Registry entry. The queries are those of
// io_registry_entry_view; those that may fail throw boost::system::system_error
// with IOKit's return code and the IOKit call's name.
class io_registry_entry : public io_object
{
public:
    io_registry_entry() noexcept = default;

    // Takes over one reference to `owned`, or nothing for a null handle.
    explicit io_registry_entry(io_registry_entry_t owned) noexcept;

    // Takes the reference of an object known to be a registry entry, such as one
    // that a registry iterator yields; `object` is left null.
    io_registry_entry(io_object&& object) noexcept;

    // The matching dictionary for the entry with registry entry ID `id`
    // (IORegistryEntryIDMatching); empty if IOKit cannot make one.
    static CF::Dictionary id_matching(unsigned long long id);

    io_registry_entry_view view() const noexcept;

    // The first parent in `plane`; a null entry, without throwing, when there is
    // none (IOKit's kIOReturnNoDevice), as for the root entry.
    io_registry_entry get_parent_entry(char const* plane) const;

    // All parents / the direct children in `plane`, in attach order.
    io_iterator get_parent_iterator(char const* plane) const;
    io_iterator get_child_iterator(char const* plane) const;

    std::string get_name() const;
    std::string get_name_in_plane(char const* plane) const;
    std::string get_location_in_plane(char const* plane) const;
    std::string get_path(char const* plane) const;
    std::uint64_t get_registry_entry_id() const;
    bool in_plane(char const* plane) const noexcept;
    CF::AutoPointer create_cf_property_(CF::String const& key, unsigned int options) const noexcept;
};

} // namespace plinth::apple::io_kit
