// `tree`'s search (-c, -n, -k) and its depth and subtree scope (-d, -r), as ioreg shows them.
#pragma once

#include "device/apple/plane.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/registry/walked_entry.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"
#include "tools/plinth-ioreg/walk/search_criteria.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace plinth::ioreg_tool {

// What `tree` shows when it looks for entries or stops at a depth, as ioreg's -c,
// -n, -k, -r and -d do. A match shows its properties; any other entry only when
// all properties were asked for (-l). Like the walker, it shows an entry under
// each of its parents and never follows a loop.
class registry_search
{
public:
    registry_search(plane p, search_criteria criteria, search_scope scope, bool with_properties);

    // The top entry with only the branches that lead to a match, down to the
    // depth; nothing when no entry there matches. Without criteria every entry
    // down to the depth.
    std::optional<tree_node> entries_above_matches(walked_entry const& top) const;

    // Each match, in the order of a walk from the top, with the entries below it
    // down to the depth counted from the match. A match below another is shown
    // again on its own, as ioreg -r does.
    std::vector<tree_node> subtrees_of_matches(walked_entry const& top) const;

    // Whether the entry passes every test of the criteria; false when there are none.
    bool matches(walked_entry const& entry, entry_summary const& summary) const;

private:
    using ancestry = std::vector<std::uint64_t>;

    static constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

    std::optional<tree_node> prune(walked_entry const& entry, std::size_t level, ancestry& ancestors) const;

    // One walk for -r: tests every entry, reads each one that some match's tree
    // shows once, and puts each match's tree in `found`. Returns the entry's tree
    // down to `levels` levels for the match above it, none when 0.
    std::optional<tree_node> gather(walked_entry const& entry, std::size_t levels, ancestry& ancestors,
                                    std::vector<tree_node>& found) const;
    std::size_t match_levels() const noexcept;
    static tree_node truncated(tree_node const& node, std::size_t levels);
    bool below_depth(std::size_t level) const noexcept;

    plane plane_;
    search_criteria criteria_;
    search_scope scope_;
    bool with_properties_;
};

} // namespace plinth::ioreg_tool
