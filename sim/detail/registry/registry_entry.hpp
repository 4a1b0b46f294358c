// One registry entry: names, locations, properties and links per plane.
#pragma once

#include "property/value.hpp"
#include "sim/detail/kernel/kernel_object.hpp"
#include "sim/detail/registry/keyed_dictionary.hpp"
#include "sim/detail/registry/plane_links.hpp"
#include "sim/detail/registry/registry_description.hpp"

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

using property::dictionary;
using property::value;

// One I/O Registry entry. All members are guarded by the registry model's lock: read
// them inside registry_model::read, change them only through the model.
class registry_entry final : public kernel_object
{
public:
    registry_entry(entry_id id, std::string class_name, std::string name, std::optional<std::string> location);

    entry_id id() const noexcept { return id_; }

    // The owning pointer of an entry reached through a link (links are plain pointers).
    std::shared_ptr<registry_entry> shared() { return std::static_pointer_cast<registry_entry>(shared_from_this()); }

    std::string const& class_name() const noexcept { return class_name_; }

    // The class that IOObjectGetClass reports: an "IOClassNameOverride" string
    // property wins over the real class, as Intel USB device entries show.
    std::string const& visible_class_name() const noexcept;

    std::string const& name() const noexcept { return name_; }
    std::optional<std::string> const& location() const noexcept { return location_; }

    // The global name and location are those of the IOService plane when the entry
    // is a service. An entry first seen in another plane takes that plane's name
    // and location until its IOService ones arrive; then the earlier ones stay with
    // the planes they came from.
    bool named_by_service_plane() const noexcept { return named_by_service_plane_; }
    void take_service_plane_name(std::string name, std::optional<std::string> location);
    void mark_named_by_service_plane() noexcept { named_by_service_plane_ = true; }

    // The name in a plane falls back to the global name, the location likewise.
    std::string const& name_in_plane(std::string_view plane) const noexcept;
    std::optional<std::string> const& location_in_plane(std::string_view plane) const noexcept;

    // In the order they were first set.
    dictionary const& properties() const noexcept { return properties_.items(); }
    value const* find_property(std::string_view key) const noexcept;
    void set_property(std::string const& key, value v);
    void remove_property(std::string_view key);

    plane_links const* links(std::string_view plane) const noexcept;
    // The children or parents in a plane, in attach order; none outside the plane.
    std::span<registry_entry* const> linked(std::string_view plane, link_direction which) const noexcept;
    // Whether the entry hangs below a parent in the plane (the root hangs nowhere).
    bool attached_in(std::string_view plane) const noexcept { return !linked(plane, link_direction::parents).empty(); }
    // Whether the entry hangs below a parent in any plane.
    bool attached_anywhere() const noexcept;
    plane_links& links_for(std::string const& plane);
    std::map<std::string, plane_links, std::less<>> const& all_links() const noexcept { return planes_; }
    void clear_links() noexcept { planes_.clear(); }

    // Whether the entry is still in the registry (false once it was removed or the
    // registry was reset while a handle kept it alive).
    bool registered() const noexcept { return registered_; }
    void set_registered(bool registered) noexcept { registered_ = registered; }

private:
    entry_id id_;
    std::string class_name_;
    std::string name_;
    std::optional<std::string> location_;
    keyed_dictionary properties_;
    std::map<std::string, plane_links, std::less<>> planes_;
    bool registered_ = false;
    bool named_by_service_plane_ = false;
};

} // namespace plinth::sim::detail
