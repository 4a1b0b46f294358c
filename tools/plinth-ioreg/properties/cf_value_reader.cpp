// Converting CF booleans, numbers (unsigned at their own width), strings, data, dictionaries, arrays and sets into property values.
#include "tools/plinth-ioreg/properties/cf_value_reader.hpp"

#include "io_kit/cf/array.hpp"
#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/data.hpp"
#include "io_kit/cf/dictionary_entries.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/number_value.hpp"
#include "io_kit/cf/set.hpp"
#include "io_kit/cf/string.hpp"

#include <cstring>

namespace plinth::ioreg_tool {
namespace {

// The number's bits as an unsigned value of its own width: ioreg's view of an
// OSNumber, which knows its width and no sign.
property_value unsigned_in_own_width(CF::NumberValue const& number)
{
    if (number.is_float)
        return number.real;
    auto const bits = static_cast<std::uint64_t>(number.integer);
    if (number.byte_size <= 0 || number.byte_size >= 8)
        return bits;
    auto const mask = (std::uint64_t{1} << (8 * number.byte_size)) - 1;
    return bits & mask;
}

std::vector<std::byte> copy_bytes(CF::Data const& data)
{
    auto const length = data.GetLength();
    if (length <= 0)
        return {};
    std::vector<std::byte> bytes(static_cast<std::size_t>(length));
    std::memcpy(bytes.data(), data.GetBytePtr(), bytes.size());
    return bytes;
}

std::vector<property_value> read_items(std::vector<CF::AutoPointer> const& items)
{
    std::vector<property_value> values;
    values.reserve(items.size());
    for (auto const& item : items)
        values.push_back(read_cf_value(item));
    return values;
}

std::vector<property_value> read_items(CF::Array const& array)
{
    std::vector<property_value> values;
    auto const count = array.GetCount();
    values.reserve(static_cast<std::size_t>(count));
    for (CFIndex i = 0; i < count; ++i)
        values.push_back(read_cf_value(array.GetValueAtIndex(i)));
    return values;
}

// What a value of a CF type that the registry never hands out shows as.
constexpr char const* unsupported_type = "<unsupported CF type>";

// Dictionary keys in the registry are always strings (OSSymbols).
std::string key_text(CF::AutoPointer const& key)
{
    if (CF::String const string(key); string.IsValid())
        return string.GetValue();
    return unsupported_type;
}

// The keys and values of `dictionary`, in the order CoreFoundation gives them.
property_dictionary read_cf_dictionary(CF::Dictionary const& dictionary)
{
    property_dictionary result;
    for (auto const& [key, value] : CF::GetEntries(dictionary))
        result.emplace_back(key_text(key), read_cf_value(value));
    return result;
}

} // namespace

property_value read_cf_value(CF::AutoPointer const& value)
{
    if (!value.IsValid())
        return std::string();
    if (CF::Boolean const boolean(value); boolean.IsValid())
        return static_cast<bool>(boolean);
    if (CF::Number const number(value); number.IsValid())
        return unsigned_in_own_width(CF::GetNumberValue(number));
    if (CF::String const string(value); string.IsValid())
        return string.GetValue();
    if (CF::Data const data(value); data.IsValid())
        return copy_bytes(data);
    if (CF::Dictionary const dictionary(value); dictionary.IsValid())
        return read_cf_dictionary(dictionary);
    if (CF::Array const array(value); array.IsValid())
        return property_array{read_items(array)};
    if (CF::Set const set(value); set.IsValid())
        return property_set{read_items(set.GetValues())};
    return std::string(unsupported_type);
}

} // namespace plinth::ioreg_tool
