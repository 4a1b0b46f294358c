// Collecting entries, properties and links into a dump as a reader meets them.
#pragma once

#include "sim/detail/registry/registry_description.hpp"
#include "sim/detail/registry/keyed_dictionary.hpp"

#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace plinth::sim::detail {

// Collects what a reader sees, printing by printing, into a dump. ioreg prints an
// entry with several parents once under each of them, with its whole subtree, so
// the same entry and the same links come by several times: the builder keeps one
// entry per ID and one link per (parent, child) pair.
class dump_builder
{
public:
    // The dump contradicts itself (an entry under its own descendant, one ID with
    // two classes). The reader knows where it was reading and says so.
    class conflict : public std::runtime_error
    {
    public:
        using std::runtime_error::runtime_error;
    };

    explicit dump_builder(std::string plane);

    // Records one printing of an entry. The first printing gives the name, class
    // and location; a later one adds only what the first lacked (properties it
    // did not show, a location, a class chain). Throws conflict when the same ID
    // comes with another class.
    void add_entry(dump_entry entry);

    // Adds a property to an entry already added; a key it already has keeps its value.
    void add_property(entry_id id, std::string key, value v);

    // Throws conflict when the child is the parent or one of its ancestors, or the root entry.
    void add_link(entry_id parent, entry_id child);

    // Notes an entry printed at the top of the dump, without a parent.
    void add_top(entry_id id);

    std::size_t entry_count() const noexcept { return result_.entries.size(); }

    // The dump; tops are the entries printed at the top that no printing put
    // under a parent.
    dump finish() &&;

private:
    std::size_t position_of(entry_id id) const;
    bool is_ancestor_or_self(entry_id candidate, entry_id of);

    dump result_;                              // entries without their properties until finish()
    std::vector<keyed_dictionary> properties_; // of result_.entries[i]
    std::unordered_map<entry_id, std::size_t> index_of_;
    std::set<std::pair<entry_id, entry_id>> links_seen_;
    std::unordered_map<entry_id, std::vector<entry_id>> parents_of_;
    std::vector<entry_id> printed_at_top_;
    std::unordered_set<entry_id> seen_at_top_;
    std::vector<entry_id> search_stack_;   // reused by is_ancestor_or_self
    std::unordered_set<entry_id> visited_; // reused by is_ancestor_or_self
};

} // namespace plinth::sim::detail
