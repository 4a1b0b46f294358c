// The registry model: entries, planes and their links, the class table, and the observers told of each change.
#pragma once

#include "sim/detail/registry/class_table.hpp"
#include "sim/detail/registry/registry_description.hpp"
#include "sim/detail/registry/registry_entry.hpp"
#include "sim/detail/registry/registry_observer.hpp"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace plinth::sim::detail {

// The simulated machine's I/O Registry: its entries, the links between them in
// each plane, and the class table. One per process.
//
// Readers call read(), which holds the lock shared while the const queries below
// run; the control operations take it exclusively. The registry owns no CF
// objects: readers make the CF values of properties inside read(), which is safe
// because making them runs no caller code. CF values that come from the caller
// (matching dictionaries) are read before the lock is taken, as their callbacks
// may be the caller's own.
class registry_model
{
public:
    static registry_model& instance();

    template <typename Function>
    decltype(auto) read(Function&& function) const
    {
        std::shared_lock lock(mutex_);
        return std::forward<Function>(function)(*this);
    }

    // Control operations (each takes the lock itself).
    void reset();
    entry_id add_entry(entry_spec const& new_entry, entry_id parent, std::string const& plane);
    void attach(entry_id child, entry_id parent, std::string const& plane,
                std::optional<std::string> const& location_in_plane);
    void set_property(entry_id id, std::string const& key, value v);
    void remove_property(entry_id id, std::string const& key);
    void remove_entry(entry_id id);
    void add_class(std::string const& class_name, std::string const& superclass);
    void merge(dump const& d);
    bool contains(entry_id id) const;
    std::size_t entry_count() const;

    // The same changes for a model that holds an entry it made itself (a user
    // client below its device): an entry that has left the registry is left alone,
    // as its ID may name another entry by then. add_child gives null when the
    // parent has left.
    std::shared_ptr<registry_entry> add_child(std::shared_ptr<registry_entry> const& parent,
                                              entry_spec const& new_entry, std::string const& plane);
    void set_property(registry_entry& entry, std::string const& key, value v);
    void remove_entry(std::shared_ptr<registry_entry> const& entry);

    void add_observer(std::shared_ptr<registry_observer> observer);
    void remove_observer(registry_observer const* observer);

    // Queries: call only inside read().
    std::shared_ptr<registry_entry> root() const noexcept { return root_; }
    bool knows_plane(std::string_view plane) const;
    // The plane's top entry: the root's first child in it (paths start there).
    registry_entry* plane_top(std::string_view plane) const;
    // Bumped on every change of the registry's shape, so that a registry iterator
    // can tell that what it walks has changed.
    std::uint64_t generation() const noexcept { return generation_; }
    class_table const& classes() const noexcept { return classes_; }
    // Whether `entry` is `class_name` or derives from it, under the override rule.
    bool conforms(registry_entry const& entry, std::string_view class_name) const;
    // The same by the real class alone, as the kernel's casts see it: whether the
    // entry is an IOService is asked this way.
    bool conforms_by_real_class(registry_entry const& entry, std::string_view class_name) const;
    // Every service (entry of the IOService plane below the root), in registry order.
    std::vector<std::shared_ptr<registry_entry>> services() const;

private:
    registry_model();

    using lock_type = std::unique_lock<std::shared_mutex>;

    registry_entry& require(entry_id id, char const* operation) const;
    entry_id next_free_id();
    // A new registered entry, held by the registry but not linked yet.
    std::shared_ptr<registry_entry> const& create_entry(entry_id id, std::string class_name, std::string name,
                                                        std::optional<std::string> location,
                                                        std::string_view first_plane);
    void reset_locked();
    std::shared_ptr<registry_entry> add_locked(entry_spec const& new_entry, registry_entry& parent,
                                               std::string const& plane);
    // Unlinks the entry and each descendant that goes with it; returns them all.
    std::vector<std::shared_ptr<registry_entry>> remove_locked(registry_entry& entry);
    // Throws std::invalid_argument when merging the dump would link a loop, the
    // root included, in its plane.
    void refuse_loops(dump const& d) const;
    void link(registry_entry& parent, registry_entry& child, std::string const& plane);
    bool is_ancestor_or_self(registry_entry const& candidate, registry_entry const& entry,
                             std::string_view plane) const;
    void notify(std::vector<std::shared_ptr<registry_entry>> const& published,
                std::vector<std::shared_ptr<registry_entry>> const& terminated);

    mutable std::shared_mutex mutex_;
    std::unordered_map<entry_id, std::shared_ptr<registry_entry>> entries_;
    std::shared_ptr<registry_entry> root_;
    std::set<std::string, std::less<>> planes_;
    class_table classes_;
    entry_id next_id_;
    std::uint64_t generation_ = 0;

    std::mutex observers_mutex_;
    std::vector<std::shared_ptr<registry_observer>> observers_;
};

} // namespace plinth::sim::detail
