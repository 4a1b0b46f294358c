// The walk of one plane downwards: each entry's summary, its properties when asked for, its children.
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

#include <algorithm>

namespace plinth::ioreg_tool {

registry_walker::registry_walker(plane p, bool with_properties, path_reading paths) noexcept
    : plane_(p), with_properties_(with_properties), paths_(paths)
{
}

tree_node registry_walker::walk(walked_entry const& top) const
{
    std::vector<std::uint64_t> ancestors;
    return walk(top, ancestors);
}

tree_node registry_walker::walk(walked_entry const& entry, std::vector<std::uint64_t>& ancestors) const
{
    tree_node node;
    node.summary = summarize(entry, plane_, paths_);
    if (with_properties_)
        node.properties = entry.device().get_properties();

    // IOKit (and the simulated registry) keep every plane free of loops; should an
    // entry ever be its own ancestor, it is shown once more without its subtree
    // rather than walked forever.
    if (std::find(ancestors.begin(), ancestors.end(), node.summary.id) != ancestors.end())
        return node;

    ancestors.push_back(node.summary.id);
    for (auto const& child : entry.children(plane_))
        node.children.push_back(walk(child, ancestors));
    ancestors.pop_back();
    return node;
}

std::size_t count_nodes(tree_node const& node) noexcept
{
    std::size_t count = 1;
    for (auto const& child : node.children)
        count += count_nodes(child);
    return count;
}

} // namespace plinth::ioreg_tool
