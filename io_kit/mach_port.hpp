// mach_port: the IOKit main port: the registry's root, entries by path, and matching services.
#pragma once

#include "io_kit/cf/dictionary.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"

#include <IOKit/IOKitLib.h>

namespace plinth::apple::io_kit {

// The IOKit main port through which registry queries go. Move-only: it stands
// for the one port a caller talks to IOKit through.
class mach_port
{
public:
    // The default main port, which every IOKit function accepts.
    static mach_port master_port_default() noexcept;

    mach_port(mach_port const&) = delete;
    mach_port& operator=(mach_port const&) = delete;
    // The source is left holding the default port, which stays usable.
    mach_port(mach_port&& other) noexcept;
    mach_port& operator=(mach_port&& other) noexcept;
    ~mach_port();

    mach_port_t get() const noexcept;

    // The registry's root entry (IORegistryGetRootEntry).
    io_registry_entry io_registry_get_root_entry() const;

    // The entry that `path` ("IOService:/a/b@1") names; a null entry when it names
    // none, or when `path` is null.
    io_registry_entry io_registry_entry_from_path(char const* path) const;

    // Every service that `matching` matches (IOServiceGetMatchingServices). The
    // caller's dictionary is left as it was: IOKit consumes one reference, so one
    // is taken for it first. A null iterator when nothing matches; throws
    // boost::system::system_error on failure (kIOReturnBadArgument for an empty
    // dictionary).
    io_iterator io_service_get_matching_services(CF::Dictionary const& matching) const;

private:
    explicit mach_port(mach_port_t port) noexcept;

    mach_port_t port_ = MACH_PORT_NULL;
};

} // namespace plinth::apple::io_kit
