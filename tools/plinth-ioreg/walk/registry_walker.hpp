// The walk of one plane downwards that `tree` prints, with as few IOKit calls as showing it allows.
#pragma once

#include "device/apple/plane.hpp"
#include "property/value.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/registry/walked_entry.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace plinth::ioreg_tool {

// One entry of a walk with everything below it. An entry with several parents
// in the plane appears under each of them, as ioreg prints it.
struct tree_node
{
    entry_summary summary;
    std::optional<property::dictionary> properties; // read only when the walk asks for them
    std::vector<tree_node> children;
};

// Walks the registry downwards in one plane, reading each entry's summary and,
// when asked, all its properties. On a Mac every IOKit call but a retain or a
// release is a kernel round trip, so the walk makes as few as showing the tree
// allows: per entry the iterator step that yields it, its path in the plane (which
// carries its name and location), its ID and class, one dictionary of all its
// properties, and a child iterator made and drained to its end; then the entry and
// the iterator are released. Where the path cannot show the name and location
// (see last_path_component) they cost two more calls.
class registry_walker
{
public:
    registry_walker(plane p, bool with_properties, path_reading paths = path_reading::read) noexcept;

    // `top` and every entry below it in the plane.
    tree_node walk(walked_entry const& top) const;

private:
    tree_node walk(walked_entry const& entry, std::vector<std::uint64_t>& ancestors) const;

    plane plane_;
    bool with_properties_;
    path_reading paths_;
};

// The number of entries in the tree, counting an entry once for each place it appears.
std::size_t count_nodes(tree_node const& node) noexcept;

} // namespace plinth::ioreg_tool
