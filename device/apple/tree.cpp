// tree: root, path and ID lookups through the main port; a path holding a NUL names no entry.
#include "device/apple/tree.hpp"

#include "io_kit/io_registry_entry.hpp"

#include <utility>

namespace plinth::apple {

tree::tree(io_kit::mach_port port) noexcept : port_(std::move(port)) {}

io_kit::mach_port& tree::next_layer() noexcept
{
    return port_;
}

io_kit::mach_port const& tree::next_layer() const noexcept
{
    return port_;
}

device tree::get_root_node() const
{
    return device(port_.io_registry_get_root_entry());
}

device tree::get_by_path(std::string const& path) const
{
    // IOKit reads the path as a C string and would stop at a NUL byte, finding the
    // entry that the text before it names: no registry path holds a NUL, so such
    // a path names no entry.
    if (path.find('\0') != std::string::npos)
        return {};
    return device(port_.io_registry_entry_from_path(path.c_str()));
}

io_kit::io_iterator tree::get_by_id(unsigned long long const& id) const
{
    // The dictionary wrapper releases the matching dictionary on every path, also
    // when the matching call throws.
    auto const matching = io_kit::io_registry_entry::id_matching(id);
    return port_.io_service_get_matching_services(matching);
}

} // namespace plinth::apple
