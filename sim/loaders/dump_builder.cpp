// Collecting entries, properties and links into a dump as a reader meets them.
#include "sim/loaders/dump_builder.hpp"

#include "sim/detail/kernel/hex_text.hpp"

#include <algorithm>

namespace plinth::sim::detail {

dump_builder::dump_builder(std::string plane)
{
    result_.plane = std::move(plane);
}

void dump_builder::add_entry(dump_entry entry)
{
    auto const found = index_of_.find(entry.id);
    if (found == index_of_.end())
    {
        keyed_dictionary properties;
        for (auto& [key, v] : entry.properties)
            properties.insert(std::move(key), std::move(v));
        entry.properties.clear();
        index_of_.emplace(entry.id, result_.entries.size());
        result_.entries.push_back(std::move(entry));
        properties_.push_back(std::move(properties));
        return;
    }
    dump_entry& kept = result_.entries[found->second];
    if (kept.class_name != entry.class_name)
        throw conflict("entry " + hex_text(entry.id) + " is printed with class " + entry.class_name +
                       " but was printed before with class " + kept.class_name);
    if (!kept.location)
        kept.location = std::move(entry.location);
    if (kept.class_chain.empty())
        kept.class_chain = std::move(entry.class_chain);
    for (auto& [key, v] : entry.properties)
        properties_[found->second].insert(std::move(key), std::move(v));
}

void dump_builder::add_property(entry_id id, std::string key, value v)
{
    properties_[position_of(id)].insert(std::move(key), std::move(v));
}

void dump_builder::add_link(entry_id parent, entry_id child)
{
    // The root stands above every plane; ioreg never prints it under an entry.
    if (child == root_entry_id)
        throw conflict("the root entry " + hex_text(child) + " is printed under " + hex_text(parent) +
                       "; the root has no parent");
    if (!links_seen_.emplace(parent, child).second)
        return;
    if (is_ancestor_or_self(child, parent))
    {
        links_seen_.erase({parent, child});
        throw conflict(parent == child ? "entry " + hex_text(child) + " is printed under itself"
                                       : "entry " + hex_text(child) + " is printed under " + hex_text(parent) +
                                             ", one of its own descendants");
    }
    parents_of_[child].push_back(parent);
    result_.links.emplace_back(parent, child);
}

void dump_builder::add_top(entry_id id)
{
    if (seen_at_top_.insert(id).second)
        printed_at_top_.push_back(id);
}

dump dump_builder::finish() &&
{
    for (std::size_t i = 0; i < properties_.size(); ++i)
        result_.entries[i].properties = std::move(properties_[i]).take();
    for (entry_id const id : printed_at_top_)
        if (!parents_of_.contains(id))
            result_.tops.push_back(id);
    return std::move(result_);
}

std::size_t dump_builder::position_of(entry_id id) const
{
    return index_of_.at(id);
}

bool dump_builder::is_ancestor_or_self(entry_id candidate, entry_id of)
{
    // Walks up the parent links. A registry is shallow, so the walk is short; the
    // visited set keeps it linear when many entries share parents.
    search_stack_.assign(1, of);
    visited_.clear();
    while (!search_stack_.empty())
    {
        entry_id const id = search_stack_.back();
        search_stack_.pop_back();
        if (id == candidate)
            return true;
        if (!visited_.insert(id).second)
            continue;
        if (auto const parents = parents_of_.find(id); parents != parents_of_.end())
            search_stack_.insert(search_stack_.end(), parents->second.begin(), parents->second.end());
    }
    return false;
}

} // namespace plinth::sim::detail
