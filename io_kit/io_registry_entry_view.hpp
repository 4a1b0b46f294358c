// io_registry_entry_view: a non-owning registry entry: name, location, path, ID, plane membership, one property.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_object_view.hpp"

#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <string>

namespace plinth::apple::io_kit {

// A non-owning look at an I/O Registry entry. The queries that may fail throw
// boost::system::system_error with IOKit's return code and the IOKit call's name.
class io_registry_entry_view : public io_object_view
{
public:
    using io_object_view::io_object_view;

    // The entry's name (IORegistryEntryGetName).
    std::string get_name() const;

    // The entry's name in `plane`, or its name when it has none there.
    std::string get_name_in_plane(char const* plane) const;

    // The entry's location in `plane`, or its own location; kIOReturnNotFound when
    // it has neither.
    std::string get_location_in_plane(char const* plane) const;

    // The registry path ("IOService:/a/b@1"); kIOReturnBadArgument when the entry
    // is not attached in `plane`.
    std::string get_path(char const* plane) const;

    // The 64-bit registry entry ID, unique until the machine restarts.
    std::uint64_t get_registry_entry_id() const;

    // Whether the entry is attached in `plane`; false for a null entry.
    bool in_plane(char const* plane) const noexcept;

    // A new copy of the property `key` (IORegistryEntryCreateCFProperty with the
    // default allocator); empty when the property is absent, the key empty or the
    // entry null. The trailing underscore keeps the name clear of IOKit's own
    // spelling.
    CF::AutoPointer create_cf_property_(CF::String const& key, unsigned int options) const noexcept;
};

} // namespace plinth::apple::io_kit
