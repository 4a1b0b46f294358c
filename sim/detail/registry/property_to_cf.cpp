// Making the CF value a task receives for a registry property.
#include "sim/detail/registry/property_to_cf.hpp"

#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

namespace plinth::sim::detail {

using property::array;
using property::data;
using property::number;
using property::set;

namespace {

struct release_cf
{
    void operator()(void const* object) const noexcept { CFRelease(object); }
};

using owned_cf = std::unique_ptr<void const, release_cf>;

std::vector<owned_cf> make_cf_items(std::vector<value> const& items)
{
    std::vector<owned_cf> made;
    made.reserve(items.size());
    for (auto const& item : items)
        made.emplace_back(make_cf_property(item));
    return made;
}

std::vector<void const*> raw_pointers(std::vector<owned_cf> const& owned)
{
    std::vector<void const*> raw;
    raw.reserve(owned.size());
    for (auto const& object : owned)
        raw.push_back(object.get());
    return raw;
}

CFTypeRef make_cf_number(number const& n)
{
    if (n.width <= 32)
    {
        // The kernel keeps only the number's own bits: 0xFFFFFFFF of width 32 is -1.
        auto const low_bits = static_cast<SInt32>(static_cast<std::uint32_t>(n.bits));
        return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &low_bits);
    }
    SInt64 const bits = n.bits;
    return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &bits);
}

} // namespace

CFStringRef make_cf_string(std::string_view text)
{
    auto const* bytes = reinterpret_cast<UInt8 const*>(text.data());
    auto const length = static_cast<CFIndex>(text.size());
    if (auto const made = CFStringCreateWithBytes(kCFAllocatorDefault, bytes, length, kCFStringEncodingUTF8, false))
        return made;
    return CFStringCreateWithBytes(kCFAllocatorDefault, bytes, length, kCFStringEncodingISOLatin1, false);
}

CFMutableDictionaryRef make_cf_dictionary(dictionary const& properties)
{
    auto const made = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks);
    for (auto const& [key, property] : properties)
    {
        owned_cf const cf_key(make_cf_string(key));
        owned_cf const cf_value(make_cf_property(property));
        CFDictionarySetValue(made, cf_key.get(), cf_value.get());
    }
    return made;
}

CFTypeRef make_cf_property(value const& property)
{
    return std::visit(
        [](auto const& content) -> CFTypeRef {
            using type = std::remove_cvref_t<decltype(content)>;
            if constexpr (std::is_same_v<type, bool>)
                return CFRetain(content ? kCFBooleanTrue : kCFBooleanFalse);
            else if constexpr (std::is_same_v<type, number>)
                return make_cf_number(content);
            else if constexpr (std::is_same_v<type, double>)
                return CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &content);
            else if constexpr (std::is_same_v<type, std::string>)
                return make_cf_string(content);
            else if constexpr (std::is_same_v<type, data>)
                return CFDataCreate(kCFAllocatorDefault, content.data(), static_cast<CFIndex>(content.size()));
            else if constexpr (std::is_same_v<type, dictionary>)
                return make_cf_dictionary(content);
            else if constexpr (std::is_same_v<type, array>)
            {
                auto const items = make_cf_items(content);
                auto raw = raw_pointers(items);
                return CFArrayCreate(kCFAllocatorDefault, raw.data(), static_cast<CFIndex>(raw.size()),
                                     &kCFTypeArrayCallBacks);
            }
            else
            {
                static_assert(std::is_same_v<type, set>);
                auto const items = make_cf_items(content.items);
                auto raw = raw_pointers(items);
                return CFSetCreate(kCFAllocatorDefault, raw.data(), static_cast<CFIndex>(raw.size()),
                                   &kCFTypeSetCallBacks);
            }
        },
        property.content);
}

} // namespace plinth::sim::detail
