#include "tools/plinth-ioreg/registry_search.hpp"

#include "tools/plinth-ioreg/property_reader.hpp"

#include <algorithm>
#include <utility>

namespace plinth::ioreg_tool {
namespace {

bool has_property(registry_entry const& entry, std::string const& key)
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

std::optional<tree_node> registry_search::entries_above_matches(registry_entry const& top) const
{
    ancestry ancestors;
    return prune(top, 1, ancestors);
}

std::vector<tree_node> registry_search::subtrees_of_matches(registry_entry const& top) const
{
    std::vector<tree_node> found;
    ancestry ancestors;
    collect_matches(top, ancestors, found);
    return found;
}

bool registry_search::matches(registry_entry const& entry, entry_summary const& summary) const
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

std::optional<tree_node> registry_search::prune(registry_entry const& entry, std::size_t level,
                                                ancestry& ancestors) const
{
    tree_node node;
    node.summary = summarize(entry, plane_);
    bool const is_match = matches(entry, node.summary);
    if (below_depth(level) && !is_ancestor(ancestors, node.summary.id)) {
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
        node.properties = read_properties(entry);
    return node;
}

tree_node registry_search::subtree(registry_entry const& entry, entry_summary summary, bool is_match,
                                   std::size_t level, ancestry& ancestors) const
{
    tree_node node;
    node.summary = std::move(summary);
    if (with_properties_ || is_match)
        node.properties = read_properties(entry);
    if (!below_depth(level) || is_ancestor(ancestors, node.summary.id))
        return node;
    ancestors.push_back(node.summary.id);
    for (auto const& child : entry.children(plane_)) {
        auto child_summary = summarize(child, plane_);
        bool const child_matches = matches(child, child_summary);
        node.children.push_back(subtree(child, std::move(child_summary), child_matches, level + 1, ancestors));
    }
    ancestors.pop_back();
    return node;
}

void registry_search::collect_matches(registry_entry const& entry, ancestry& ancestors,
                                      std::vector<tree_node>& found) const
{
    auto summary = summarize(entry, plane_);
    auto const id = summary.id;
    if (matches(entry, summary)) {
        // The depth of a subtree counts from its match, whose ancestors are not its own.
        ancestry below_match;
        found.push_back(subtree(entry, std::move(summary), true, 1, below_match));
    }
    if (is_ancestor(ancestors, id))
        return;
    ancestors.push_back(id);
    for (auto const& child : entry.children(plane_))
        collect_matches(child, ancestors, found);
    ancestors.pop_back();
}

} // namespace plinth::ioreg_tool
