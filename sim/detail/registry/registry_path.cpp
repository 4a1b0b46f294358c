// Registry paths: writing an entry's path, and finding the entry a path names.
#include "sim/detail/registry/registry_path.hpp"

#include "sim/detail/registry/registry_model.hpp"

#include <algorithm>
#include <cctype>
#include <vector>

namespace plinth::sim::detail {

namespace {

// Bounds a walk up the first parents; planes cannot hold loops, but a bound costs
// nothing and keeps a corrupt registry from hanging a caller.
constexpr std::size_t max_path_depth = 4096;

struct location_field
{
    std::string_view text;
    char separator; // the character after the field, or '\0' for the last one
};

std::vector<location_field> split_location(std::string_view location)
{
    std::vector<location_field> fields;
    std::size_t start = 0;
    for (;;)
    {
        auto const end = location.find_first_of(",:", start);
        if (end == std::string_view::npos)
        {
            fields.push_back({location.substr(start), '\0'});
            return fields;
        }
        fields.push_back({location.substr(start, end - start), location[end]});
        start = end + 1;
    }
}

bool is_hex(std::string_view text)
{
    return !text.empty() &&
           std::ranges::all_of(text, [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}

// Hex digits compared as numbers of any length: without leading zeros, in one case.
std::string hex_value(std::string_view digits)
{
    auto const first = digits.find_first_not_of('0');
    std::string normal(first == std::string_view::npos ? std::string_view{} : digits.substr(first));
    std::ranges::transform(normal, normal.begin(),
                           [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    return normal;
}

bool field_matches(std::string_view wanted, std::string_view actual)
{
    if (is_hex(wanted) && is_hex(actual))
        return hex_value(wanted) == hex_value(actual);
    return wanted == actual;
}

// The location rule of entry_at_path: "1f,3" matches "1F,03".
bool location_matches(std::string_view wanted, std::string_view location)
{
    auto const wanted_fields = split_location(wanted);
    auto const fields = split_location(location);
    if (wanted_fields.size() != fields.size())
        return false;
    for (std::size_t index = 0; index < fields.size(); ++index)
        if (wanted_fields[index].separator != fields[index].separator ||
            !field_matches(wanted_fields[index].text, fields[index].text))
            return false;
    return true;
}

registry_entry* matching_child(registry_entry const& parent, std::string_view plane, std::string_view name,
                               std::optional<std::string_view> location)
{
    for (auto* child : parent.linked(plane, link_direction::children))
    {
        if (!name.empty() && child->name_in_plane(plane) != name)
            continue;
        if (location)
        {
            auto const& child_location = child->location_in_plane(plane);
            if (!child_location || !location_matches(*location, *child_location))
                continue;
        }
        return child;
    }
    return nullptr;
}

} // namespace

std::optional<std::string> path_of(registry_model const& model, registry_entry const& entry, std::string_view plane)
{
    auto const* top = model.plane_top(plane);
    if (!top)
        return std::nullopt;
    std::vector<registry_entry const*> below_top;
    for (auto const* current = &entry; current != top;)
    {
        auto const parents = current->linked(plane, link_direction::parents);
        if (parents.empty() || below_top.size() > max_path_depth)
            return std::nullopt;
        below_top.push_back(current);
        current = parents.front();
    }
    std::string path(plane);
    path += ':';
    if (below_top.empty())
        path += '/';
    for (auto step = below_top.rbegin(); step != below_top.rend(); ++step)
    {
        path += '/';
        path += (*step)->name_in_plane(plane);
        if (auto const& location = (*step)->location_in_plane(plane))
        {
            path += '@';
            path += *location;
        }
    }
    return path;
}

registry_entry* entry_at_path(registry_model const& model, std::string_view path)
{
    auto const colon = path.find(':');
    if (colon == std::string_view::npos)
        return nullptr;
    auto const plane = path.substr(0, colon);
    auto const rest = path.substr(colon + 1);
    if (!model.knows_plane(plane) || rest.empty() || rest.front() != '/')
        return nullptr;
    auto* where = model.plane_top(plane);
    std::size_t position = 0;
    while (where && position < rest.size())
    {
        if (rest[position] != '/')
            return nullptr; // text left after a component
        if (++position == rest.size())
            break; // a trailing '/'
        auto const name_end = std::min(rest.find_first_of("@/:", position), rest.size());
        auto const name = rest.substr(position, name_end - position);
        std::optional<std::string_view> location;
        position = name_end;
        if (position < rest.size() && rest[position] == '@')
        {
            auto const location_end = std::min(rest.find('/', position + 1), rest.size());
            location = rest.substr(position + 1, location_end - position - 1);
            position = location_end;
        }
        if (name.empty() && !location)
            return nullptr;
        where = matching_child(*where, plane, name, location);
    }
    return where;
}

} // namespace plinth::sim::detail
