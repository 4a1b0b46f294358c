// The registry model: entries, planes and their links, changes, merges, and the observers told of each.
#include "sim/detail/registry/registry_model.hpp"

#include "sim/detail/kernel/hex_text.hpp"
#include "sim/detail/registry/input_monitoring_tag.hpp"
#include "sim/detail/registry/link_loop_finder.hpp"
#include "sim/detail/registry/plane_walk.hpp"

#include <algorithm>
#include <stdexcept>
#include <unordered_set>

namespace plinth::sim::detail {

namespace {

constexpr std::string_view service_plane = "IOService";

// Registry entry IDs handed out by add_entry start above the root's and grow for
// the life of the process, as the kernel's do until reboot.
constexpr entry_id first_free_id = root_entry_id + 0x10;

bool already_linked(registry_entry const& parent, registry_entry const& child, std::string_view plane)
{
    auto const parents = child.linked(plane, link_direction::parents);
    return std::ranges::find(parents, &parent) != parents.end();
}

} // namespace

registry_model& registry_model::instance()
{
    // Never destroyed, as the kernel's registry outlives the process: a thread still
    // running while static destructors run may still call into it.
    static auto* const model = new registry_model;
    return *model;
}

registry_model::registry_model() : next_id_(first_free_id)
{
    reset_locked();
}

void registry_model::reset()
{
    lock_type lock(mutex_);
    reset_locked();
}

void registry_model::reset_locked()
{
    for (auto& [id, entry] : entries_)
    {
        entry->clear_links();
        entry->set_registered(false);
    }
    entries_.clear();
    root_ = create_entry(root_entry_id, "IORegistryEntry", "Root", std::nullopt, service_plane);
    // A plane exists once some family registers it, as on a Mac without FireWire
    // there is no IOFireWire plane: here, once a link or a dump names it.
    planes_ = {std::string(service_plane)};
    classes_ = class_table{};
    ++generation_;
}

registry_entry& registry_model::require(entry_id id, char const* operation) const
{
    auto const found = entries_.find(id);
    if (found == entries_.end())
        throw std::invalid_argument(std::string(operation) + ": no registry entry with ID " + hex_text(id));
    return *found->second;
}

entry_id registry_model::next_free_id()
{
    while (entries_.contains(next_id_))
        ++next_id_;
    return next_id_++;
}

std::shared_ptr<registry_entry> const& registry_model::create_entry(entry_id id, std::string class_name,
                                                                    std::string name,
                                                                    std::optional<std::string> location,
                                                                    std::string_view first_plane)
{
    auto created = std::make_shared<registry_entry>(id, std::move(class_name), std::move(name), std::move(location));
    created->set_registered(true);
    // An entry first seen in the service plane has its global name from there.
    if (first_plane == service_plane)
        created->mark_named_by_service_plane();
    return entries_.emplace(id, std::move(created)).first->second;
}

void registry_model::link(registry_entry& parent, registry_entry& child, std::string const& plane)
{
    parent.links_for(plane).children.push_back(&child);
    child.links_for(plane).parents.push_back(&parent);
    planes_.insert(plane);
}

bool registry_model::is_ancestor_or_self(registry_entry const& candidate, registry_entry const& entry,
                                         std::string_view plane) const
{
    return &candidate == &entry || find_linked(entry, plane, link_direction::parents,
                                               [&](registry_entry const& ancestor) { return &ancestor == &candidate; });
}

entry_id registry_model::add_entry(entry_spec const& new_entry, entry_id parent, std::string const& plane)
{
    std::shared_ptr<registry_entry> added;
    {
        lock_type lock(mutex_);
        added = add_locked(new_entry, require(parent, "add_entry"), plane);
    }
    if (plane == service_plane)
        notify({added}, {});
    return added->id();
}

std::shared_ptr<registry_entry> registry_model::add_child(std::shared_ptr<registry_entry> const& parent,
                                                          entry_spec const& new_entry, std::string const& plane)
{
    std::shared_ptr<registry_entry> added;
    {
        lock_type lock(mutex_);
        if (!parent->registered())
            return nullptr;
        added = add_locked(new_entry, *parent, plane);
    }
    if (plane == service_plane)
        notify({added}, {});
    return added;
}

std::shared_ptr<registry_entry> registry_model::add_locked(entry_spec const& new_entry, registry_entry& parent,
                                                           std::string const& plane)
{
    if (new_entry.class_name.empty())
        throw std::invalid_argument("add_entry: an entry needs a class");
    if (plane.empty())
        throw std::invalid_argument("add_entry: an entry needs a plane");
    auto const id = new_entry.id ? *new_entry.id : next_free_id();
    if (entries_.contains(id))
        throw std::invalid_argument("add_entry: registry entry ID " + hex_text(id) + " is taken");
    auto added = create_entry(id, new_entry.class_name, new_entry.name, new_entry.location, plane);
    for (auto const& [key, property] : new_entry.properties)
        added->set_property(key, property);
    link(parent, *added, plane);
    tag_for_input_monitoring(*added, *this);
    ++generation_;
    return added;
}

void registry_model::attach(entry_id child, entry_id parent, std::string const& plane,
                            std::optional<std::string> const& location_in_plane)
{
    std::shared_ptr<registry_entry> published;
    {
        lock_type lock(mutex_);
        auto& child_entry = require(child, "attach");
        auto& parent_entry = require(parent, "attach");
        if (plane.empty())
            throw std::invalid_argument("attach: a link needs a plane");
        if (&child_entry == root_.get())
            throw std::invalid_argument("attach: the root entry hangs below no entry, in " + plane +
                                        " as in every plane");
        auto const was_service = child_entry.attached_in(service_plane);
        if (!already_linked(parent_entry, child_entry, plane))
        {
            if (is_ancestor_or_self(child_entry, parent_entry, plane))
                throw std::invalid_argument("attach: " + hex_text(child) + " is an ancestor of " + hex_text(parent) +
                                            " in " + plane);
            link(parent_entry, child_entry, plane);
        }
        if (location_in_plane)
            child_entry.links_for(plane).location = location_in_plane;
        ++generation_;
        if (!was_service && child_entry.attached_in(service_plane))
            published = entries_.at(child);
    }
    if (published)
        notify({published}, {});
}

void registry_model::set_property(entry_id id, std::string const& key, value v)
{
    lock_type lock(mutex_);
    require(id, "set_property").set_property(key, std::move(v));
}

void registry_model::remove_property(entry_id id, std::string const& key)
{
    lock_type lock(mutex_);
    require(id, "remove_property").remove_property(key);
}

void registry_model::remove_entry(entry_id id)
{
    std::vector<std::shared_ptr<registry_entry>> terminated;
    {
        lock_type lock(mutex_);
        auto& entry = require(id, "remove_entry");
        if (&entry == root_.get())
            throw std::invalid_argument("remove_entry: the root entry cannot be removed");
        terminated = remove_locked(entry);
    }
    notify({}, terminated);
}

void registry_model::remove_entry(std::shared_ptr<registry_entry> const& entry)
{
    std::vector<std::shared_ptr<registry_entry>> terminated;
    {
        lock_type lock(mutex_);
        if (!entry->registered() || entry == root_)
            return;
        terminated = remove_locked(*entry);
    }
    notify({}, terminated);
}

void registry_model::set_property(registry_entry& entry, std::string const& key, value v)
{
    lock_type lock(mutex_);
    if (entry.registered())
        entry.set_property(key, std::move(v));
}

std::vector<std::shared_ptr<registry_entry>> registry_model::remove_locked(registry_entry& entry)
{
    std::vector<std::shared_ptr<registry_entry>> terminated;
    // A descendant goes too when, in the plane that links it below a doomed
    // entry, every parent it has there goes: a service whose last provider
    // terminates terminates with it, whatever holds it in other planes.
    std::vector<registry_entry*> doomed{&entry};
    std::unordered_set<registry_entry*> doomed_set{&entry};
    auto const all_parents_doomed = [&](registry_entry const& candidate, std::string_view plane) {
        return std::ranges::all_of(candidate.links(plane)->parents,
                                   [&](registry_entry* parent) { return doomed_set.contains(parent); });
    };
    for (bool grew = true; grew;)
    {
        grew = false;
        for (std::size_t index = 0; index < doomed.size(); ++index)
            for (auto const& [plane, links] : doomed[index]->all_links())
                for (auto* child : links.children)
                    if (!doomed_set.contains(child) && all_parents_doomed(*child, plane))
                    {
                        doomed.push_back(child);
                        doomed_set.insert(child);
                        grew = true;
                    }
    }

    for (auto* gone : doomed)
    {
        for (auto const& [plane, links] : gone->all_links())
        {
            for (auto* parent : links.parents)
                if (!doomed_set.contains(parent))
                    std::erase(parent->links_for(plane).children, gone);
            for (auto* child : links.children)
                if (!doomed_set.contains(child))
                    std::erase(child->links_for(plane).parents, gone);
        }
    }
    for (auto* gone : doomed)
    {
        gone->clear_links();
        gone->set_registered(false);
        auto const found = entries_.find(gone->id());
        terminated.push_back(found->second);
        entries_.erase(found);
    }
    ++generation_;
    return terminated;
}

void registry_model::add_class(std::string const& class_name, std::string const& superclass)
{
    lock_type lock(mutex_);
    classes_.add(class_name, superclass);
}

void registry_model::merge(dump const& d)
{
    std::vector<std::shared_ptr<registry_entry>> published;
    {
        lock_type lock(mutex_);
        if (d.plane.empty())
            throw std::invalid_argument("merge: the dump names no plane");

        // Check every reference before changing anything, so that a bad dump
        // leaves the registry as it was.
        std::unordered_set<entry_id> dumped;
        for (auto const& entry : d.entries)
            dumped.insert(entry.id);
        auto const known = [&](entry_id id) { return dumped.contains(id) || entries_.contains(id); };
        for (auto const& [parent, child] : d.links)
            if (!known(parent) || !known(child))
                throw std::invalid_argument("merge: the link " + hex_text(parent) + " -> " + hex_text(child) +
                                            " names an entry the dump lacks");
        for (auto const top : d.tops)
            if (!known(top))
                throw std::invalid_argument("merge: the top entry " + hex_text(top) + " is not in the dump");

        refuse_loops(d);

        std::unordered_set<entry_id> services_before;
        for (auto const& entry : d.entries)
            if (auto const found = entries_.find(entry.id);
                found != entries_.end() && found->second->attached_in(service_plane))
                services_before.insert(entry.id);

        planes_.insert(d.plane);
        for (auto const& dumped_entry : d.entries)
        {
            auto const found = entries_.find(dumped_entry.id);
            bool const is_new = found == entries_.end();
            auto& entry =
                is_new ? *create_entry(dumped_entry.id,
                                       dumped_entry.class_name.empty() ? "IORegistryEntry" : dumped_entry.class_name,
                                       dumped_entry.name, dumped_entry.location, d.plane)
                       : *found->second;
            if (!is_new && d.plane == service_plane && !entry.named_by_service_plane())
                entry.take_service_plane_name(dumped_entry.name, dumped_entry.location);
            else if (!is_new)
            {
                // The same entry seen in another plane: a name or location that
                // differs from its global one belongs to this plane.
                if (!dumped_entry.name.empty() && dumped_entry.name != entry.name())
                    entry.links_for(d.plane).name = dumped_entry.name;
                if (dumped_entry.location && dumped_entry.location != entry.location())
                    entry.links_for(d.plane).location = dumped_entry.location;
            }
            for (auto const& [key, property] : dumped_entry.properties)
                entry.set_property(key, property);

            auto const& chain = dumped_entry.class_chain;
            if (!chain.empty() && chain.front() != entry.class_name())
                classes_.add(entry.class_name(), chain.front());
            for (std::size_t index = 0; index + 1 < chain.size(); ++index)
                classes_.add(chain[index], chain[index + 1]);
        }
        for (auto const& dumped_entry : d.entries)
            tag_for_input_monitoring(*entries_.at(dumped_entry.id), *this);

        for (auto const& [parent_id, child_id] : d.links)
        {
            auto& parent = *entries_.at(parent_id);
            auto& child = *entries_.at(child_id);
            if (!already_linked(parent, child, d.plane))
                link(parent, child, d.plane);
        }
        for (auto const top_id : d.tops)
        {
            auto& top = *entries_.at(top_id);
            if (&top != root_.get() && !top.attached_in(d.plane))
                link(*root_, top, d.plane);
        }
        ++generation_;

        for (auto const& entry : d.entries)
            if (!services_before.contains(entry.id))
                if (auto const found = entries_.find(entry.id);
                    found != entries_.end() && found->second != root_ && found->second->attached_in(service_plane))
                    published.push_back(found->second);
    }
    notify(published, {});
}

void registry_model::refuse_loops(dump const& d) const
{
    // The links the merge adds, as they will be once it is done: those the plane
    // lacks, then the root's links to the dump's tops that nothing else holds.
    auto const lookup = [&](entry_id id) -> registry_entry const* {
        auto const found = entries_.find(id);
        return found == entries_.end() ? nullptr : found->second.get();
    };
    std::vector<link_loop_finder::link> added;
    std::unordered_set<entry_id> gets_parent;
    for (auto const& [parent_id, child_id] : d.links)
    {
        if (child_id == root_->id())
            throw std::invalid_argument("merge: the dump puts the root entry below " + hex_text(parent_id) + " in " +
                                        d.plane + "; the root hangs below no entry");
        auto const* parent = lookup(parent_id);
        auto const* child = lookup(child_id);
        if (parent && child && already_linked(*parent, *child, d.plane))
            continue;
        added.emplace_back(parent_id, child_id);
        gets_parent.insert(child_id);
    }
    for (auto const top_id : d.tops)
    {
        auto const* top = lookup(top_id);
        if (top_id != root_->id() && !gets_parent.contains(top_id) && !(top && top->attached_in(d.plane)))
            added.emplace_back(root_->id(), top_id);
    }

    link_loop_finder const finder([&](entry_id id, std::vector<entry_id>& children) {
        if (auto const* entry = lookup(id))
            for (auto const* child : entry->linked(d.plane, link_direction::children))
                children.push_back(child->id());
    });
    if (auto const closing = finder.find(added))
        throw std::invalid_argument("merge: the link " + hex_text(closing->first) + " -> " + hex_text(closing->second) +
                                    " closes a loop in " + d.plane);
}

bool registry_model::contains(entry_id id) const
{
    std::shared_lock lock(mutex_);
    return entries_.contains(id);
}

std::size_t registry_model::entry_count() const
{
    std::shared_lock lock(mutex_);
    return entries_.size();
}

void registry_model::add_observer(std::shared_ptr<registry_observer> observer)
{
    std::lock_guard lock(observers_mutex_);
    observers_.push_back(std::move(observer));
}

void registry_model::remove_observer(registry_observer const* observer)
{
    std::lock_guard lock(observers_mutex_);
    std::erase_if(observers_, [observer](auto const& held) { return held.get() == observer; });
}

void registry_model::notify(std::vector<std::shared_ptr<registry_entry>> const& published,
                            std::vector<std::shared_ptr<registry_entry>> const& terminated)
{
    std::vector<std::shared_ptr<registry_observer>> observers;
    {
        std::lock_guard lock(observers_mutex_);
        observers = observers_;
    }
    for (auto const& observer : observers)
    {
        for (auto const& entry : published)
            observer->entry_published(entry);
        for (auto const& entry : terminated)
            observer->entry_terminated(entry);
    }
}

bool registry_model::knows_plane(std::string_view plane) const
{
    return planes_.contains(plane);
}

registry_entry* registry_model::plane_top(std::string_view plane) const
{
    auto const tops = root_->linked(plane, link_direction::children);
    return tops.empty() ? nullptr : tops.front();
}

bool registry_model::conforms(registry_entry const& entry, std::string_view class_name) const
{
    return entry.visible_class_name() == class_name || conforms_by_real_class(entry, class_name);
}

bool registry_model::conforms_by_real_class(registry_entry const& entry, std::string_view class_name) const
{
    // A class the table does not know still derives from IOService when the entry
    // is a service, and from IORegistryEntry otherwise.
    auto const fallback = entry.attached_in(service_plane) ? "IOService" : "IORegistryEntry";
    return classes_.conforms(entry.class_name(), class_name, fallback);
}

std::vector<std::shared_ptr<registry_entry>> registry_model::services() const
{
    std::vector<std::shared_ptr<registry_entry>> found;
    find_linked(*root_, service_plane, link_direction::children, [&](registry_entry& service) {
        found.push_back(service.shared());
        return false;
    });
    return found;
}

} // namespace plinth::sim::detail
