// mach_port: the default main port and the registry calls made through it.
#include "io_kit/mach_port.hpp"

#include "io_kit/detail/throw_if_failed.hpp"

#include <utility>

namespace plinth::apple::io_kit {

mach_port mach_port::master_port_default() noexcept
{
    // MACH_PORT_NULL is what IOKit's kIOMainPortDefault and the deprecated
    // kIOMasterPortDefault both stand for; naming either would break the build on
    // one SDK or another (macOS 12's warns on the old name, older ones lack the new).
    return mach_port(MACH_PORT_NULL);
}

mach_port::mach_port(mach_port_t port) noexcept : port_(port) {}

mach_port::mach_port(mach_port&& other) noexcept : port_(std::exchange(other.port_, MACH_PORT_NULL)) {}

mach_port& mach_port::operator=(mach_port&& other) noexcept
{
    port_ = std::exchange(other.port_, MACH_PORT_NULL);
    return *this;
}

// The only port this class holds is the default one, which is no send right of
// the task and so has nothing to deallocate.
mach_port::~mach_port() = default;

mach_port_t mach_port::get() const noexcept
{
    return port_;
}

io_registry_entry mach_port::io_registry_get_root_entry() const
{
    return io_registry_entry(IORegistryGetRootEntry(port_));
}

io_registry_entry mach_port::io_registry_entry_from_path(char const* path) const
{
    // IOKit has no error code for a path that names nothing: it answers null.
    if (path == nullptr)
        return io_registry_entry();
    return io_registry_entry(IORegistryEntryFromPath(port_, path));
}

io_iterator mach_port::io_service_get_matching_services(CF::Dictionary const& matching) const
{
    auto const dictionary = static_cast<CFDictionaryRef>(matching.GetTypeRef());
    // IOKit releases one reference of the dictionary whatever happens; this one.
    if (dictionary != nullptr)
        CFRetain(dictionary);
    io_iterator_t services = IO_OBJECT_NULL;
    detail::throw_if_failed(IOServiceGetMatchingServices(port_, dictionary, &services), "IOServiceGetMatchingServices");
    return io_iterator(services);
}

} // namespace plinth::apple::io_kit
