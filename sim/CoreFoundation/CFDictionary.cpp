// CFDictionary's C entry points: creating dictionaries, looking keys up, changing them.
#include <CoreFoundation/CFDictionary.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_dictionary.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_range_check.hpp"

namespace detail = plinth::sim::detail;
using detail::cf_callbacks;
using detail::cf_dictionary;

namespace {

cf_dictionary* copy_of(cf_dictionary const& source, bool is_mutable)
{
    auto const& table = source.table();
    auto* copy = detail::make_cf_object<cf_dictionary>(table.key_callbacks(), table.value_callbacks(), is_mutable);
    for (auto const& e : table)
        copy->table().add(e.key, e.value);
    return copy;
}

} // namespace

extern "C" {

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0,
    detail::cf_type_retain,
    detail::cf_type_release,
    detail::cf_type_copy_description,
    detail::cf_type_equal,
    detail::cf_type_hash,
};

const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {
    0,
    detail::cf_string_copy,
    detail::cf_type_release,
    detail::cf_type_copy_description,
    detail::cf_type_equal,
    detail::cf_type_hash,
};

const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, detail::cf_type_retain, detail::cf_type_release, detail::cf_type_copy_description, detail::cf_type_equal,
};

CFTypeID CFDictionaryGetTypeID(void)
{
    return cf_dictionary::class_type_id();
}

// A key given twice keeps its first value, as adding does.
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks)
{
    if (!detail::cf_input_valid(keys != nullptr && values != nullptr, numValues, "CFDictionaryCreate",
                                "no keys or values, or a negative count"))
        return nullptr;
    auto* dictionary =
        detail::make_cf_object<cf_dictionary>(cf_callbacks::of(keyCallBacks), cf_callbacks::of(valueCallBacks), false);
    for (CFIndex i = 0; i < numValues; ++i)
        dictionary->table().add(keys[i], values[i]);
    return detail::cf_ref<CFDictionaryRef>(dictionary);
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef theDict)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryCreateCopy");
    return dictionary == nullptr ? nullptr : detail::cf_ref<CFDictionaryRef>(copy_of(*dictionary, false));
}

// The capacity is a hint: CF's dictionaries grow as needed whatever it says.
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks)
{
    if (!detail::cf_capacity_valid(capacity, "CFDictionaryCreateMutable"))
        return nullptr;
    auto* dictionary =
        detail::make_cf_object<cf_dictionary>(cf_callbacks::of(keyCallBacks), cf_callbacks::of(valueCallBacks), true);
    return detail::cf_ref<CFMutableDictionaryRef>(dictionary);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDictionaryRef theDict)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryCreateMutableCopy");
    if (dictionary == nullptr || !detail::cf_capacity_valid(capacity, "CFDictionaryCreateMutableCopy"))
        return nullptr;
    return detail::cf_ref<CFMutableDictionaryRef>(copy_of(*dictionary, true));
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryGetCount");
    return dictionary == nullptr ? 0 : static_cast<CFIndex>(dictionary->table().size());
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryGetValue");
    if (dictionary == nullptr)
        return nullptr;
    auto const* found = dictionary->table().find(key);
    return found == nullptr ? nullptr : found->value;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryGetValueIfPresent");
    if (dictionary == nullptr)
        return false;
    auto const* found = dictionary->table().find(key);
    if (found == nullptr)
        return false;
    if (value != nullptr)
        *value = found->value;
    return true;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryContainsKey");
    return dictionary != nullptr && dictionary->table().find(key) != nullptr;
}

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryContainsValue");
    if (dictionary == nullptr)
        return false;
    auto const& table = dictionary->table();
    for (auto const& e : table)
        if (table.value_callbacks().equal_values(e.value, value))
            return true;
    return false;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryGetKeysAndValues");
    if (dictionary == nullptr)
        return;
    std::size_t i = 0;
    for (auto const& e : dictionary->table())
    {
        if (keys != nullptr)
            keys[i] = e.key;
        if (values != nullptr)
            values[i] = e.value;
        ++i;
    }
}

// Applied to a snapshot, so that an applier changing the dictionary cannot invalidate the walk.
void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void* context)
{
    auto const* dictionary = detail::cf_checked<cf_dictionary>(theDict, "CFDictionaryApplyFunction");
    if (dictionary == nullptr)
        return;
    if (applier == nullptr)
    {
        plinth::sim::detail::report_misuse("CFDictionaryApplyFunction: NULL applier");
        return;
    }
    for (auto const& e : dictionary->table().snapshot())
        applier(e.key, e.value, context);
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value)
{
    if (auto* dictionary = detail::cf_checked_mutable<cf_dictionary>(theDict, "CFDictionaryAddValue"))
        dictionary->table().add(key, value);
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value)
{
    if (auto* dictionary = detail::cf_checked_mutable<cf_dictionary>(theDict, "CFDictionarySetValue"))
        dictionary->table().set(key, value);
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value)
{
    if (auto* dictionary = detail::cf_checked_mutable<cf_dictionary>(theDict, "CFDictionaryReplaceValue"))
        dictionary->table().replace(key, value);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key)
{
    if (auto* dictionary = detail::cf_checked_mutable<cf_dictionary>(theDict, "CFDictionaryRemoveValue"))
        dictionary->table().remove(key);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict)
{
    if (auto* dictionary = detail::cf_checked_mutable<cf_dictionary>(theDict, "CFDictionaryRemoveAllValues"))
        dictionary->table().clear();
}

} // extern "C"
