// The search for links that would close a loop in a plane.
#include "sim/detail/registry/link_loop_finder.hpp"

#include <set>
#include <unordered_map>

namespace plinth::sim::detail {

namespace {

struct node
{
    std::vector<entry_id> children; // existing and added, within the searched part
    std::vector<entry_id> parents;  // likewise
    std::size_t pending_parents = 0;
};

} // namespace

std::optional<link_loop_finder::link> link_loop_finder::find(std::span<link const> added) const
{
    std::unordered_map<entry_id, std::vector<entry_id>> added_children;
    for (auto const& [parent, child] : added)
        added_children[parent].push_back(child);

    // The part of the plane below the new links' children, walked without recursion.
    std::unordered_map<entry_id, node> nodes;
    std::vector<entry_id> pending;
    for (auto const& [parent, child] : added)
        if (nodes.try_emplace(child).second)
            pending.push_back(child);
    std::vector<entry_id> children;
    while (!pending.empty())
    {
        entry_id const id = pending.back();
        pending.pop_back();
        children.clear();
        existing_(id, children);
        if (auto const more = added_children.find(id); more != added_children.end())
            children.insert(children.end(), more->second.begin(), more->second.end());
        for (entry_id const child : children)
            if (nodes.try_emplace(child).second)
                pending.push_back(child);
        nodes.at(id).children = children;
    }
    for (auto& [id, n] : nodes)
        for (entry_id const child : n.children)
        {
            auto& below = nodes.at(child);
            below.parents.push_back(id);
            ++below.pending_parents;
        }

    // Takes away, over and over, the entries that no remaining entry is above;
    // what remains lies on a loop or below one.
    std::vector<entry_id> free;
    for (auto const& [id, n] : nodes)
        if (n.pending_parents == 0)
            free.push_back(id);
    std::size_t removed = 0;
    while (!free.empty())
    {
        entry_id const id = free.back();
        free.pop_back();
        ++removed;
        for (entry_id const child : nodes.at(id).children)
            if (--nodes.at(child).pending_parents == 0)
                free.push_back(child);
    }
    if (removed == nodes.size())
        return std::nullopt;

    // Every remaining entry has a remaining parent: walking up through those
    // comes round to an entry already passed, and the steps since then are a loop.
    entry_id start = 0;
    for (auto const& [id, n] : nodes)
        if (n.pending_parents > 0)
        {
            start = id;
            break;
        }
    auto const remaining_parent = [&](entry_id id) {
        for (entry_id const parent : nodes.at(id).parents)
            if (nodes.at(parent).pending_parents > 0)
                return parent;
        return id; // not reached: a remaining entry has a remaining parent
    };
    std::unordered_map<entry_id, std::size_t> step_of;
    std::vector<entry_id> walk; // walk[i + 1] is a parent of walk[i]
    entry_id repeated = start;
    while (step_of.try_emplace(repeated, walk.size()).second)
    {
        walk.push_back(repeated);
        repeated = remaining_parent(repeated);
    }
    // The loop runs from the repeated entry up to the last one walked, whose
    // parent is the repeated entry again.
    std::set<link> const added_set(added.begin(), added.end());
    std::size_t const loop_start = step_of.at(repeated);
    for (std::size_t i = loop_start; i < walk.size(); ++i)
    {
        entry_id const child = walk[i];
        entry_id const parent = i + 1 < walk.size() ? walk[i + 1] : walk[loop_start];
        if (added_set.contains({parent, child}))
            return link{parent, child};
    }
    return link{walk[loop_start], walk.back()}; // unreachable while the plane itself holds no loop
}

} // namespace plinth::sim::detail
