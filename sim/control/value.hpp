// A registry property value as the kernel holds it: numbers with their width, strings, data, collections.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace plinth::sim {

struct value;

// A number as the kernel's OSNumber holds it: the bits and their width. Widths of
// 32 bits or less come back to user space as SInt32 CFNumbers, wider ones as SInt64.
struct number
{
    std::int64_t bits = 0;
    int width = 32;

    friend bool operator==(number const&, number const&) = default;
};

using data = std::vector<std::uint8_t>;
using dictionary = std::vector<std::pair<std::string, value>>; // in insertion order
using array = std::vector<value>;

// An OSSet: unordered in the kernel, kept in the order it was read.
struct set
{
    std::vector<value> items;

    friend bool operator==(set const&, set const&);
};

// A property value as the registry holds it. Reading a property makes new CF objects
// from it every time, as IOKit unserialises a fresh copy for every caller, so the
// registry itself owns no CF objects.
struct value
{
    using variant_type = std::variant<bool, number, double, std::string, data, dictionary, array, set>;

    variant_type content;

    value() = default;
    template <typename T>
        requires std::is_constructible_v<variant_type, T&&> &&
                 (!std::is_same_v<std::remove_cvref_t<T>, value>)
    value(T&& v) : content(std::forward<T>(v))
    {
    }

    friend bool operator==(value const&, value const&) = default;
};

inline bool operator==(set const& a, set const& b) { return a.items == b.items; }

// Makes a number of the width that a kernel driver would publish for an integer
// of that magnitude: 32 bits when it fits (signed or unsigned), 64 otherwise.
inline number make_number(std::int64_t v)
{
    bool const fits32 = v >= INT32_MIN && v <= static_cast<std::int64_t>(UINT32_MAX);
    return number{v, fits32 ? 32 : 64};
}

} // namespace plinth::sim
