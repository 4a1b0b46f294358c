// Finding the entry the user names: the root, an entry by registry path, or by registry entry ID.
#pragma once

#include "device/apple/plane.hpp"
#include "device/apple/tree.hpp"
#include "tools/plinth-ioreg/registry/walked_entry.hpp"

#include <cstdint>
#include <string>

namespace plinth::ioreg_tool {

// The registry's root entry.
walked_entry find_root(apple::tree const& registry);

// The entry that `path` names. A path without a plane ("/a/b") is taken in
// `default_plane`. Throws tool_error when it names no entry.
walked_entry find_by_path(apple::tree const& registry, std::string const& path, plane default_plane);

// The entry with registry entry ID `id`. Throws tool_error when no entry has it.
walked_entry find_by_id(apple::tree const& registry, std::uint64_t id);

} // namespace plinth::ioreg_tool
