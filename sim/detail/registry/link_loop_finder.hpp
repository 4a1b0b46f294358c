// The search for links that would close a loop in a plane, before any is linked.
#pragma once

#include "sim/detail/registry/registry_description.hpp"

#include <functional>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace plinth::sim::detail {

// Finds a link that would close a loop if a batch of links joined a plane whose
// own links hold none, before anything is linked, so that a batch that would
// make the plane unwalkable can be refused whole.
//
// Only entries reachable from the children of the new links can lie on a loop
// (every loop passes through a new link), so the search visits those alone, once
// each: it takes time in proportion to them, however deep the plane.
class link_loop_finder
{
public:
    using link = std::pair<entry_id, entry_id>; // (parent, child)
    // Appends the children an entry already has in the plane.
    using existing_children = std::function<void(entry_id, std::vector<entry_id>&)>;

    explicit link_loop_finder(existing_children children) : existing_(std::move(children)) {}

    // A link of `added` that lies on a loop; none when the links close no loop.
    std::optional<link> find(std::span<link const> added) const;

private:
    existing_children existing_;
};

} // namespace plinth::sim::detail
