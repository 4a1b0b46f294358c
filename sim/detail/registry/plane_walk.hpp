// Depth-first walks of a plane below or above one entry.
#pragma once

#include "sim/detail/registry/registry_entry.hpp"

#include <string_view>
#include <unordered_set>
#include <vector>

namespace plinth::sim::detail {

// Walks the entries linked below `start` in `plane` (above it, for parents), depth
// first in attach order, each entry once however many paths reach it, `start`
// itself not. Stops at the first entry for which `stop` is true and returns it;
// null when the walk ends. Runs inside registry_model::read.
template <typename Stop>
registry_entry* find_linked(registry_entry const& start, std::string_view plane, link_direction which, Stop&& stop)
{
    std::unordered_set<registry_entry const*> seen{&start};
    std::vector<registry_entry*> pending;
    auto const push_linked = [&](registry_entry const& entry) {
        auto const linked = entry.linked(plane, which);
        pending.insert(pending.end(), linked.rbegin(), linked.rend());
    };
    push_linked(start);
    while (!pending.empty())
    {
        auto* const current = pending.back();
        pending.pop_back();
        if (!seen.insert(current).second)
            continue;
        if (stop(*current))
            return current;
        push_linked(*current);
    }
    return nullptr;
}

} // namespace plinth::sim::detail
