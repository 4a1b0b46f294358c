#include "sim/loaders/dump_builder.hpp"

#include "sim/detail/kernel/hex_text.hpp"

#include <algorithm>

namespace plinth::sim::detail {

namespace {

bool has_key(dictionary const& properties, std::string const& key)
{
    return std::any_of(properties.begin(), properties.end(), [&](auto const& item) { return item.first == key; });
}

} // namespace

dump_builder::dump_builder(std::string plane)
{
    result_.plane = std::move(plane);
}

void dump_builder::add_entry(dump_entry entry)
{
    auto const found = index_of_.find(entry.id);
    if (found == index_of_.end())
    {
        index_of_.emplace(entry.id, result_.entries.size());
        result_.entries.push_back(std::move(entry));
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
        if (!has_key(kept.properties, key))
            kept.properties.emplace_back(std::move(key), std::move(v));
}

void dump_builder::add_property(entry_id id, std::string key, value v)
{
    dump_entry& kept = entry(id);
    if (!has_key(kept.properties, key))
        kept.properties.emplace_back(std::move(key), std::move(v));
}

void dump_builder::add_link(entry_id parent, entry_id child)
{
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
    if (std::find(printed_at_top_.begin(), printed_at_top_.end(), id) == printed_at_top_.end())
        printed_at_top_.push_back(id);
}

dump dump_builder::finish() &&
{
    for (entry_id const id : printed_at_top_)
        if (!parents_of_.contains(id))
            result_.tops.push_back(id);
    return std::move(result_);
}

dump_entry& dump_builder::entry(entry_id id)
{
    return result_.entries.at(index_of_.at(id));
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
