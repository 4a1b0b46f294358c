// Equality of property values as the kernel decides it when matching.
#include "sim/detail/kernel/kernel_equality.hpp"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace plinth::sim::detail {

using property::array;
using property::number;
using property::set;

namespace {

value const* find_value(dictionary const& in, std::string const& key)
{
    auto const found = std::ranges::find(in, key, [](auto const& p) -> std::string const& { return p.first; });
    return found == in.end() ? nullptr : &found->second;
}

bool same_items_any_order(std::vector<value> const& a, std::vector<value> const& b)
{
    if (a.size() != b.size())
        return false;
    std::vector<bool> used(b.size(), false);
    for (auto const& item : a)
    {
        bool found = false;
        for (std::size_t index = 0; index < b.size() && !found; ++index)
            if (!used[index] && kernel_equal(item, b[index]))
                used[index] = found = true;
        if (!found)
            return false;
    }
    return true;
}

} // namespace

bool properties_include(dictionary const& properties, dictionary const& subset)
{
    return std::ranges::all_of(subset, [&](auto const& wanted) {
        auto const* present = find_value(properties, wanted.first);
        return present && kernel_equal(*present, wanted.second);
    });
}

bool kernel_equal(value const& a, value const& b)
{
    if (a.content.index() != b.content.index())
        return false;
    return std::visit(
        [&](auto const& left) {
            using type = std::remove_cvref_t<decltype(left)>;
            auto const& right = std::get<type>(b.content);
            if constexpr (std::is_same_v<type, number>)
                return left.as_unsigned() == right.as_unsigned();
            else if constexpr (std::is_same_v<type, dictionary>)
                return left.size() == right.size() && properties_include(left, right);
            else if constexpr (std::is_same_v<type, array>)
                return std::ranges::equal(left, right, kernel_equal);
            else if constexpr (std::is_same_v<type, set>)
                return same_items_any_order(left.items, right.items);
            else
                return left == right;
        },
        a.content);
}

} // namespace plinth::sim::detail
