// Reads CF booleans, numbers, strings, data and collections into property::value, through the CF wrappers.
#include "device/apple/detail/property_value_from_cf.hpp"

#include "io_kit/cf/array.hpp"
#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/data.hpp"
#include "io_kit/cf/dictionary_entries.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/number_value.hpp"
#include "io_kit/cf/set.hpp"
#include "io_kit/cf/string.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace plinth::apple::detail {
namespace {

property::value number_from_cf(CF::Number const& cf_number)
{
    auto const read = CF::GetNumberValue(cf_number);
    if (read.is_float)
        return read.real;
    // CFNumber has no integer type wider than 64 bits in the registry's use.
    auto const width = static_cast<int>(std::min<CFIndex>(8 * read.byte_size, 64));
    return property::number{read.integer, width};
}

// Nothing for a negative length, which no CFData has: no bytes can be read from it.
std::optional<property::value> data_from_cf(CF::Data const& cf_data)
{
    auto const length = cf_data.GetLength();
    if (length < 0)
        return std::nullopt;
    if (length == 0)
        return property::data();
    auto const* bytes = cf_data.GetBytePtr();
    return property::data(bytes, bytes + length);
}

template <typename Items>
std::optional<std::vector<property::value>> items_from_cf(Items const& cf_items)
{
    std::vector<property::value> items;
    items.reserve(cf_items.size());
    for (auto const& cf_item : cf_items)
    {
        auto item = property_value_from_cf(cf_item);
        if (!item)
            return std::nullopt;
        items.push_back(std::move(*item));
    }
    return items;
}

std::vector<CF::AutoPointer> array_items(CF::Array const& cf_array)
{
    std::vector<CF::AutoPointer> items;
    auto const count = cf_array.GetCount();
    items.reserve(static_cast<std::size_t>(std::max<CFIndex>(count, 0)));
    for (CFIndex i = 0; i < count; ++i)
        items.push_back(cf_array.GetValueAtIndex(i));
    return items;
}

std::optional<property::value> array_from_cf(CF::Array const& cf_array)
{
    auto items = items_from_cf(array_items(cf_array));
    if (!items)
        return std::nullopt;
    // Not braces: an array in braces would become an array holding one array.
    return property::value(property::array(std::move(*items)));
}

std::optional<property::value> set_from_cf(CF::Set const& cf_set)
{
    auto items = items_from_cf(cf_set.GetValues());
    if (!items)
        return std::nullopt;
    return property::value(property::set{std::move(*items)});
}

} // namespace

std::optional<property::value> property_value_from_cf(CF::AutoPointer const& object)
{
    if (!object.IsValid())
        return std::nullopt;
    // Booleans first: a CFBoolean is no CFNumber, but testing it first keeps any
    // value from being taken by two kinds.
    if (CF::Boolean const cf_boolean(object); cf_boolean.IsValid())
        return static_cast<bool>(cf_boolean);
    if (CF::Number const cf_number(object); cf_number.IsValid())
        return number_from_cf(cf_number);
    if (CF::String const cf_string(object); cf_string.IsValid())
        return cf_string.GetValue(kCFStringEncodingUTF8);
    if (CF::Data const cf_data(object); cf_data.IsValid())
        return data_from_cf(cf_data);
    if (CF::Dictionary const cf_dictionary(object); cf_dictionary.IsValid())
    {
        auto entries = property_dictionary_from_cf(cf_dictionary);
        if (!entries)
            return std::nullopt;
        return property::value(std::move(*entries));
    }
    if (CF::Array const cf_array(object); cf_array.IsValid())
        return array_from_cf(cf_array);
    if (CF::Set const cf_set(object); cf_set.IsValid())
        return set_from_cf(cf_set);
    return std::nullopt;
}

std::optional<property::dictionary> property_dictionary_from_cf(CF::Dictionary const& dictionary)
{
    property::dictionary entries;
    for (auto const& [cf_key, cf_value] : CF::GetEntries(dictionary))
    {
        CF::String const key(cf_key);
        if (!key.IsValid())
            return std::nullopt;
        auto item = property_value_from_cf(cf_value);
        if (!item)
            return std::nullopt;
        entries.emplace_back(key.GetValue(kCFStringEncodingUTF8), std::move(*item));
    }
    return entries;
}

} // namespace plinth::apple::detail
