// CF property lists from libplist's nodes, immutable or mutable as asked.
#include "sim/detail/cf/cf_from_plist.hpp"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFString.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace plinth::sim::detail {

namespace {

struct free_deleter
{
    void operator()(void* p) const noexcept { std::free(p); }
};

// References the reader owns until it hands them to a container.
class owned_refs
{
public:
    owned_refs() = default;
    owned_refs(owned_refs const&) = delete;
    owned_refs& operator=(owned_refs const&) = delete;
    ~owned_refs()
    {
        for (auto const* ref : refs_)
            CFRelease(ref);
    }
    void add(void const* ref) { refs_.push_back(ref); }
    void const** data() noexcept { return refs_.data(); }
    CFIndex size() const noexcept { return static_cast<CFIndex>(refs_.size()); }

private:
    std::vector<void const*> refs_;
};

bool mutable_containers(CFOptionFlags mutability)
{
    return (mutability & (kCFPropertyListMutableContainers | kCFPropertyListMutableContainersAndLeaves)) != 0;
}

CFStringRef string_from(char const* bytes, std::size_t length, CFOptionFlags mutability)
{
    auto const* text = CFStringCreateWithBytes(nullptr, reinterpret_cast<UInt8 const*>(bytes),
                                               static_cast<CFIndex>(length), kCFStringEncodingUTF8, false);
    if (text == nullptr || (mutability & kCFPropertyListMutableContainersAndLeaves) == 0)
        return text;
    auto const* copy = CFStringCreateMutableCopy(nullptr, 0, text);
    CFRelease(text);
    return copy;
}

CFTypeRef data_from(plist_t node, CFOptionFlags mutability)
{
    char* raw = nullptr;
    uint64_t length = 0;
    plist_get_data_val(node, &raw, &length);
    std::unique_ptr<char, free_deleter> const bytes(raw);
    auto const* begin = reinterpret_cast<UInt8 const*>(bytes.get());
    if ((mutability & kCFPropertyListMutableContainersAndLeaves) == 0)
        return CFDataCreate(nullptr, begin, static_cast<CFIndex>(length));
    auto* data = CFDataCreateMutable(nullptr, 0);
    CFDataAppendBytes(data, begin, static_cast<CFIndex>(length));
    return data;
}

CFTypeRef dictionary_from(plist_t node, CFOptionFlags mutability, std::string& problem)
{
    owned_refs keys;
    owned_refs values;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    std::unique_ptr<void, free_deleter> const iterator_owner(iterator);
    while (true)
    {
        char* raw_key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &raw_key, &item);
        std::unique_ptr<char, free_deleter> const key_text(raw_key);
        if (item == nullptr || key_text == nullptr)
            break;
        auto const* key = string_from(key_text.get(), std::strlen(key_text.get()), 0);
        if (key == nullptr)
        {
            problem = "a dictionary key is not UTF-8";
            return nullptr;
        }
        keys.add(key);
        auto const* value = cf_from_plist(item, mutability, problem);
        if (value == nullptr)
            return nullptr;
        values.add(value);
    }
    if (!mutable_containers(mutability))
        return CFDictionaryCreate(nullptr, keys.data(), values.data(), keys.size(), &kCFTypeDictionaryKeyCallBacks,
                                  &kCFTypeDictionaryValueCallBacks);
    auto* dictionary =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (CFIndex i = 0; i < keys.size(); ++i)
        CFDictionarySetValue(dictionary, keys.data()[i], values.data()[i]);
    return dictionary;
}

CFTypeRef array_from(plist_t node, CFOptionFlags mutability, std::string& problem)
{
    owned_refs items;
    auto const count = plist_array_get_size(node);
    for (uint32_t i = 0; i < count; ++i)
    {
        auto const* item = cf_from_plist(plist_array_get_item(node, i), mutability, problem);
        if (item == nullptr)
            return nullptr;
        items.add(item);
    }
    if (!mutable_containers(mutability))
        return CFArrayCreate(nullptr, items.data(), items.size(), &kCFTypeArrayCallBacks);
    auto* array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (CFIndex i = 0; i < items.size(); ++i)
        CFArrayAppendValue(array, items.data()[i]);
    return array;
}

} // namespace

CFPropertyListRef cf_from_plist(plist_t node, CFOptionFlags mutability, std::string& problem)
{
    switch (plist_get_node_type(node))
    {
    case PLIST_DICT: return dictionary_from(node, mutability, problem);
    case PLIST_ARRAY: return array_from(node, mutability, problem);
    case PLIST_STRING: {
        uint64_t length = 0;
        auto const* bytes = plist_get_string_ptr(node, &length);
        auto const* text = string_from(bytes, static_cast<std::size_t>(length), mutability);
        if (text == nullptr)
            problem = "a <string> is not UTF-8";
        return text;
    }
    case PLIST_DATA: return data_from(node, mutability);
    case PLIST_BOOLEAN: return CFRetain(plist_bool_val_is_true(node) != 0 ? kCFBooleanTrue : kCFBooleanFalse);
    case PLIST_UINT: {
        // libplist keeps every integer in 64 bits, a negative one as its two's
        // complement: read back as SInt64, as CF reads integers that fit.
        uint64_t bits = 0;
        plist_get_uint_val(node, &bits);
        auto const value = static_cast<SInt64>(bits);
        return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
    }
    case PLIST_DATE: problem = "a <date>, which the simulated CoreFoundation has no CFDate for"; return nullptr;
    default: problem = "a value of no property-list type"; return nullptr;
    }
}

} // namespace plinth::sim::detail
