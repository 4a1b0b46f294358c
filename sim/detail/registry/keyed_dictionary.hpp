// A dictionary of properties in insertion order, found by key.
#pragma once

#include "property/value.hpp"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace plinth::sim::detail {

using property::dictionary;
using property::value;

// A dictionary that keeps its items in insertion order, for listing, and finds
// them by key through a hash index, so that an entry with tens of thousands of
// properties loads and answers lookups in time that grows with their number, not
// its square.
class keyed_dictionary
{
public:
    keyed_dictionary() = default;

    dictionary const& items() const noexcept { return items_; }
    std::size_t size() const noexcept { return items_.size(); }

    value const* find(std::string_view key) const noexcept;
    bool contains(std::string_view key) const noexcept { return find(key) != nullptr; }

    // Adds the item, or replaces the value of the key it already has (which keeps
    // its place in the order).
    void assign(std::string key, value v);
    // Adds the item unless the key is there; returns whether it was added.
    bool insert(std::string key, value v);
    void erase(std::string_view key);

    // The items, leaving the dictionary empty.
    dictionary take() &&;

private:
    struct key_hash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const noexcept { return std::hash<std::string_view>{}(key); }
    };

    dictionary items_;
    std::unordered_map<std::string, std::size_t, key_hash, std::equal_to<>> index_; // key -> position in items_
};

} // namespace plinth::sim::detail
