// What `tree` looks for (-c, -n, -k) and how much it shows around the matches (-r, -d).
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace plinth::ioreg_tool {

// What `tree` looks for, as ioreg's -c, -n and -k ask: an entry matches when it
// passes every test given. With none given, no entry is a match and the tree is
// shown whole.
struct search_criteria
{
    std::optional<std::string> class_name;   // -c: the entry's class is this one or derives from it
    std::optional<std::string> name;         // -n: the entry's name in the plane, or "name@location"
    std::optional<std::string> property_key; // -k: the entry has this property

    bool any() const noexcept { return class_name || name || property_key; }
};

// How much of the registry `tree` shows around its matches.
struct search_scope
{
    // -r: each match with the entries below it, instead of the root with the
    // branches that lead to a match.
    bool subtrees = false;
    // -d: the number of levels shown, counting the root (or, with -r, each match)
    // as the first; none for no limit.
    std::optional<std::size_t> depth;
};

} // namespace plinth::ioreg_tool
