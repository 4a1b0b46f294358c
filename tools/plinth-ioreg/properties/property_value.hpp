// The tool's model of a property value: a variant of the kinds the registry holds, dictionaries in registry order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace plinth::ioreg_tool {

struct property_value;

// An entry's properties, or a dictionary value, in the order the registry gives them.
using property_dictionary = std::vector<std::pair<std::string, property_value>>;

struct property_array
{
    std::vector<property_value> items;
};

struct property_set
{
    std::vector<property_value> items;
};

// A property value as the tool shows it. Integers are kept as ioreg prints them:
// unsigned, at the width of the number's own type, so that a 32-bit -1 shows as
// 4294967295 and a 64-bit one as 18446744073709551615.
struct property_value
{
    using variant_type = std::variant<bool, std::uint64_t, double, std::string, std::vector<std::byte>,
                                      property_dictionary, property_array, property_set>;

    variant_type content;

    property_value() = default;

    template <typename T>
        requires std::is_constructible_v<variant_type, T&&> &&
                 (!std::is_same_v<std::remove_cvref_t<T>, property_value>)
    property_value(T&& v) : content(std::forward<T>(v)) // NOLINT(google-explicit-constructor)
    {
    }
};

} // namespace plinth::ioreg_tool
