// property::value: a registry property of any kind (boolean, number, real, string, data, dictionary, array, set), nested.
#pragma once

#include "property/number.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace plinth::property {

struct value;

// A data property's bytes (CFData, OSData).
using data = std::vector<std::uint8_t>;

// A dictionary's keys and values in the order the registry gives them: registry
// keys are always strings (OSSymbol), and the order is kept because tools print it.
using dictionary = std::vector<std::pair<std::string, value>>;

using array = std::vector<value>;

// A set (CFSet, OSSet): unordered in the kernel and in CoreFoundation, kept in the
// order it was read, and compared in that order.
struct set
{
    std::vector<value> items;

    friend bool operator==(set const&, set const&);
};

// A property value as CoreFoundation hands it out of the registry and as the
// kernel keeps it. Every integer width is a number; floating-point numbers are
// doubles, which hold a Float32 exactly. The registry has no other kinds: no dates,
// no nulls.
struct value
{
    using variant_type = std::variant<bool, number, double, std::string, data, dictionary, array, set>;

    variant_type content;

    value() = default;

    template <typename T>
    requires std::is_constructible_v<variant_type, T&&> &&(!std::is_same_v<std::remove_cvref_t<T>, value>)value(T&& v)
        : content(std::forward<T>(v)) // NOLINT(google-explicit-constructor): a value of any kind is a value
    {
    }

    friend bool operator==(value const&, value const&) = default;
};

inline bool operator==(set const& a, set const& b)
{
    return a.items == b.items;
}

// The value under `key` in a dictionary, or null: the first, should a dump repeat a key.
inline value const* find_key(dictionary const& d, std::string_view key) noexcept
{
    for (auto const& [name, item] : d)
        if (name == key)
            return &item;
    return nullptr;
}

} // namespace plinth::property
