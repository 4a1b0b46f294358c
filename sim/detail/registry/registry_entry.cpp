// One registry entry: names, locations, properties and links per plane.
#include "sim/detail/registry/registry_entry.hpp"

#include <algorithm>

namespace plinth::sim::detail {

namespace {

constexpr std::string_view class_name_override_key = "IOClassNameOverride";

} // namespace

registry_entry::registry_entry(entry_id id, std::string class_name, std::string name,
                               std::optional<std::string> location)
    : id_(id),
      class_name_(std::move(class_name)),
      name_(name.empty() ? class_name_ : std::move(name)),
      location_(std::move(location))
{
}

std::string const& registry_entry::visible_class_name() const noexcept
{
    if (auto const* override_value = find_property(class_name_override_key))
        if (auto const* text = std::get_if<std::string>(&override_value->content))
            return *text;
    return class_name_;
}

std::string const& registry_entry::name_in_plane(std::string_view plane) const noexcept
{
    if (auto const* in_plane = links(plane); in_plane && in_plane->name)
        return *in_plane->name;
    return name_;
}

std::optional<std::string> const& registry_entry::location_in_plane(std::string_view plane) const noexcept
{
    if (auto const* in_plane = links(plane); in_plane && in_plane->location)
        return in_plane->location;
    return location_;
}

void registry_entry::take_service_plane_name(std::string name, std::optional<std::string> location)
{
    for (auto& [plane, links] : planes_)
    {
        if (plane == "IOService")
            continue;
        if (!links.name)
            links.name = name_;
        if (!links.location)
            links.location = location_;
    }
    if (!name.empty())
        name_ = std::move(name);
    location_ = std::move(location);
    named_by_service_plane_ = true;
}

value const* registry_entry::find_property(std::string_view key) const noexcept
{
    return properties_.find(key);
}

void registry_entry::set_property(std::string const& key, value v)
{
    properties_.assign(key, std::move(v));
}

void registry_entry::remove_property(std::string_view key)
{
    properties_.erase(key);
}

plane_links const* registry_entry::links(std::string_view plane) const noexcept
{
    auto const found = planes_.find(plane);
    return found == planes_.end() ? nullptr : &found->second;
}

std::span<registry_entry* const> registry_entry::linked(std::string_view plane, link_direction which) const noexcept
{
    auto const* in_plane = links(plane);
    if (!in_plane)
        return {};
    return which == link_direction::parents ? in_plane->parents : in_plane->children;
}

plane_links& registry_entry::links_for(std::string const& plane)
{
    return planes_[plane];
}

bool registry_entry::attached_anywhere() const noexcept
{
    return std::ranges::any_of(planes_, [](auto const& plane) { return !plane.second.parents.empty(); });
}

} // namespace plinth::sim::detail
