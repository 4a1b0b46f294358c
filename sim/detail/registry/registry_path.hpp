// Registry paths: writing an entry's path, and finding the entry a path names.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

class registry_entry;
class registry_model;

// Registry paths such as "IOService:/AppleACPIPlatformExpert/PCI0@0/XHC1@14". Both
// functions run inside registry_model::read.

// The path of `entry` in `plane`: the plane's top entry (the root's first child)
// is "Plane:/", and below it each component is the name in the plane, with
// "@location" when the entry has one. Empty when the entry does not reach the top
// through its first parents (not attached in the plane, the root itself).
std::optional<std::string> path_of(registry_model const& model, registry_entry const& entry, std::string_view plane);

// The entry a path names, or null. Each component matches the first child in
// attach order whose name equals it and, when the component has "@location",
// whose location has the same fields (split at ',' and ':') with the same hex
// values; "@location" alone matches by location only.
registry_entry* entry_at_path(registry_model const& model, std::string_view path);

} // namespace plinth::sim::detail
