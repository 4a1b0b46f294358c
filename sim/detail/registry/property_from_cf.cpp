// Reading CF values into property values, as the kernel unserialises them.
#include "sim/detail/registry/property_from_cf.hpp"

#include <vector>

namespace plinth::sim::detail {

using property::array;
using property::data;
using property::dictionary;
using property::number;
using property::set;

namespace {

std::optional<value> number_from_cf(CFNumberRef object)
{
    if (CFNumberIsFloatType(object))
    {
        double real = 0;
        CFNumberGetValue(object, kCFNumberFloat64Type, &real);
        return value{real};
    }
    SInt64 bits = 0;
    CFNumberGetValue(object, kCFNumberSInt64Type, &bits);
    return value{number{bits, static_cast<int>(CFNumberGetByteSize(object) * 8)}};
}

std::optional<std::vector<value>> items_from_cf(std::vector<void const*> const& objects)
{
    std::vector<value> items;
    items.reserve(objects.size());
    for (auto const* object : objects)
    {
        auto item = value_from_cf(object);
        if (!item)
            return std::nullopt;
        items.push_back(std::move(*item));
    }
    return items;
}

std::optional<value> dictionary_from_cf(CFDictionaryRef object)
{
    auto const count = CFDictionaryGetCount(object);
    std::vector<void const*> keys(static_cast<std::size_t>(count));
    std::vector<void const*> values(static_cast<std::size_t>(count));
    CFDictionaryGetKeysAndValues(object, keys.data(), values.data());
    dictionary read;
    read.reserve(keys.size());
    for (std::size_t index = 0; index < keys.size(); ++index)
    {
        auto key = string_from_cf(keys[index]);
        auto item = value_from_cf(values[index]);
        if (!key || !item)
            return std::nullopt;
        read.emplace_back(std::move(*key), std::move(*item));
    }
    return value{std::move(read)};
}

} // namespace

std::optional<std::string> string_from_cf(CFTypeRef object)
{
    if (!object || CFGetTypeID(object) != CFStringGetTypeID())
        return std::nullopt;
    auto const text = static_cast<CFStringRef>(object);
    if (auto const* direct = CFStringGetCStringPtr(text, kCFStringEncodingUTF8))
        return std::string(direct);
    auto const size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
    std::string buffer(static_cast<std::size_t>(size), '\0');
    if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8))
        return std::nullopt;
    buffer.resize(buffer.find('\0'));
    return buffer;
}

std::optional<value> value_from_cf(CFTypeRef object)
{
    if (!object)
        return std::nullopt;
    auto const type = CFGetTypeID(object);
    if (type == CFStringGetTypeID())
        return value{*string_from_cf(object)};
    if (type == CFBooleanGetTypeID())
        return value{CFBooleanGetValue(static_cast<CFBooleanRef>(object)) != 0};
    if (type == CFNumberGetTypeID())
        return number_from_cf(static_cast<CFNumberRef>(object));
    if (type == CFDataGetTypeID())
    {
        auto const data_object = static_cast<CFDataRef>(object);
        auto const* bytes = CFDataGetBytePtr(data_object);
        return value{data(bytes, bytes + CFDataGetLength(data_object))};
    }
    if (type == CFDictionaryGetTypeID())
        return dictionary_from_cf(static_cast<CFDictionaryRef>(object));
    if (type == CFArrayGetTypeID())
    {
        auto const array_object = static_cast<CFArrayRef>(object);
        std::vector<void const*> objects(static_cast<std::size_t>(CFArrayGetCount(array_object)));
        CFArrayGetValues(array_object, CFRangeMake(0, CFArrayGetCount(array_object)), objects.data());
        auto items = items_from_cf(objects);
        return items ? std::optional<value>{value{array(std::move(*items))}} : std::nullopt;
    }
    if (type == CFSetGetTypeID())
    {
        auto const set_object = static_cast<CFSetRef>(object);
        std::vector<void const*> objects(static_cast<std::size_t>(CFSetGetCount(set_object)));
        CFSetGetValues(set_object, objects.data());
        auto items = items_from_cf(objects);
        return items ? std::optional<value>{value{set{std::move(*items)}}} : std::nullopt;
    }
    return std::nullopt;
}

} // namespace plinth::sim::detail
