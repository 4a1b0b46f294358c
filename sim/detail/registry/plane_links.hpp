// An entry's place in one plane: parents, children, and its name and location there.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace plinth::sim::detail {

class registry_entry;

// An entry's place in one plane: its parents and children in attach order, and the
// name and location it has in that plane when they differ from its global ones.
// Links are plain pointers: the registry owns every linked entry, and removing an
// entry unlinks it everywhere before it leaves the registry.
struct plane_links
{
    std::vector<registry_entry*> parents;
    std::vector<registry_entry*> children;
    std::optional<std::string> name;
    std::optional<std::string> location;
};

// Which of an entry's links in a plane a walk follows.
enum class link_direction
{
    children,
    parents
};

} // namespace plinth::sim::detail
