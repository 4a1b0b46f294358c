// `tree`'s search: pruning the walk to the branches above matches, or gathering each match's subtree.
#include "tools/plinth-ioreg/walk/registry_search.hpp"

#include "io_kit/cf/string.hpp"

#include <algorithm>
#include <utility>

namespace plinth::ioreg_tool {
namespace {

bool has_property(walked_entry const& entry, std::string const& key)
{
    CF::String const cf_key(key.c_str(), kCFStringEncodingUTF8);
    return entry.view().create_cf_property_(cf_key, 0).GetTypeRef() != nullptr;
}

// The tree prints "name@location"; either form finds the entry.
bool has_name(entry_summary const& summary, std::string const& name)
{
    if (summary.name == name)
        return true;
    return summary.location && name.size() == summary.name.size() + 1 + summary.location->size() &&
           name.starts_with(summary.name) && name[summary.name.size()] == '@' && name.ends_with(*summary.location);
}

bool is_ancestor(std::vector<std::uint64_t> const& ancestors, std::uint64_t id)
{
    return std::find(ancestors.begin(), ancestors.end(), id) != ancestors.end();
}

} // namespace

registry_search::registry_search(plane p, search_criteria criteria, search_scope scope, bool with_properties)
    : plane_(p), criteria_(std::move(criteria)), scope_(scope), with_properties_(with_properties)
{
}

std::optional<tree_node> registry_search::entries_above_matches(walked_entry const& top) const
{
    ancestry ancestors;
    return prune(top, 1, ancestors);
}

std::vector<tree_node> registry_search::subtrees_of_matches(walked_entry const& top) const
{
    std::vector<tree_node> found;
    ancestry ancestors;
    (void)gather(top, 0, ancestors, found);
    return found;
}

bool registry_search::matches(walked_entry const& entry, entry_summary const& summary) const
{
    if (!criteria_.any())
        return false;
    // The cheapest tests first: the name is read already, the class is one call,
    // a property is copied out of the registry.
    if (criteria_.name && !has_name(summary, *criteria_.name))
        return false;
    if (criteria_.class_name && !entry.device().conforms_to_class(*criteria_.class_name))
        return false;
    return !criteria_.property_key || has_property(entry, *criteria_.property_key);
}

bool registry_search::below_depth(std::size_t level) const noexcept
{
    return !scope_.depth || level < *scope_.depth;
}

std::optional<tree_node> registry_search::prune(walked_entry const& entry, std::size_t level, ancestry& ancestors) const
{
    tree_node node;
    node.summary = summarize(entry, plane_);
    bool const is_match = matches(entry, node.summary);
    if (below_depth(level) && !is_ancestor(ancestors, node.summary.id))
    {
        ancestors.push_back(node.summary.id);
        for (auto const& child : entry.children(plane_))
            if (auto kept = prune(child, level + 1, ancestors))
                node.children.push_back(std::move(*kept));
        ancestors.pop_back();
    }
    // Without criteria nothing matches and every entry down to the depth is kept.
    if (criteria_.any() && !is_match && node.children.empty())
        return std::nullopt;
    if (with_properties_ || is_match)
        node.properties = entry.device().get_properties();
    return node;
}

std::size_t registry_search::match_levels() const noexcept
{
    return scope_.depth.value_or(unlimited);
}

std::optional<tree_node> registry_search::gather(walked_entry const& entry, std::size_t levels, ancestry& ancestors,
                                                 std::vector<tree_node>& found) const
{
    tree_node node;
    node.summary = summarize(entry, plane_);
    bool const is_match = matches(entry, node.summary);
    // The levels below this entry that some tree shows: the one that it is in
    // (`levels`), and its own when it matches.
    auto const own = is_match ? match_levels() : 0;
    auto const shown = std::max(levels, own);
    // The match's place is taken now, so that matches keep the walk's order
    // although each tree is complete only once the walk has left it.
    auto const slot = found.size();
    if (is_match)
        found.emplace_back();
    if (shown > 0 && (with_properties_ || is_match))
        node.properties = entry.device().get_properties();

    if (!is_ancestor(ancestors, node.summary.id))
    {
        ancestors.push_back(node.summary.id);
        auto const below = shown == unlimited ? unlimited : (shown == 0 ? 0 : shown - 1);
        for (auto const& child : entry.children(plane_))
            if (auto kept = gather(child, below, ancestors, found))
                node.children.push_back(std::move(*kept));
        ancestors.pop_back();
    }

    if (levels == 0)
    {
        if (is_match)
            found[slot] = std::move(node);
        return std::nullopt;
    }
    if (is_match)
        found[slot] = truncated(node, own);
    return levels >= shown ? std::move(node) : truncated(node, levels);
}

tree_node registry_search::truncated(tree_node const& node, std::size_t levels)
{
    tree_node copy;
    copy.summary = node.summary;
    copy.properties = node.properties;
    if (levels > 1)
    {
        auto const below = levels == unlimited ? unlimited : levels - 1;
        copy.children.reserve(node.children.size());
        for (auto const& child : node.children)
            copy.children.push_back(truncated(child, below));
    }
    return copy;
}

} // namespace plinth::ioreg_tool
