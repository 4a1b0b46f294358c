// Finding the root, an entry by path or by ID, keeping the entry's handle for its properties.
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"

#include "tools/plinth-ioreg/command_line/tool_error.hpp"

#include <IOKit/IOKitLib.h>
#include <fmt/format.h>

#include <utility>

namespace plinth::ioreg_tool {

// The tree's own lookups hand out devices; these go one layer down, to the port,
// so that the tool also keeps the entry's handle for listing its properties.
walked_entry find_root(apple::tree const& registry)
{
    return walked_entry(registry.next_layer().io_registry_get_root_entry());
}

walked_entry find_by_path(apple::tree const& registry, std::string const& path, plane default_plane)
{
    auto const full_path = path.starts_with('/') ? apple::to_string(default_plane) + (":" + path) : path;
    // IOKit reads at most an io_string_t; a longer path could name nothing anyway.
    walked_entry found;
    if (full_path.size() < sizeof(io_string_t))
        found = walked_entry(registry.next_layer().io_registry_entry_from_path(full_path.c_str()));
    if (!found)
        throw tool_error(fmt::format("no entry at path \"{}\"", path));
    return found;
}

walked_entry find_by_id(apple::tree const& registry, std::uint64_t id)
{
    auto matches = registry.get_by_id(id);
    if (auto object = matches.next())
        return walked_entry(apple::io_kit::io_registry_entry(std::move(object)));
    // Matching finds services only, and the root, which every listing starts with,
    // is none: it is compared by hand.
    auto root = find_root(registry);
    if (root.device().get_id() == id)
        return root;
    throw tool_error(fmt::format("no entry with id {:#x}", id));
}

} // namespace plinth::ioreg_tool
