// The retain, release, equality and hash callbacks of a CF collection.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFSet.h>

#include <string>

namespace plinth::sim::detail {

// The callbacks a collection was made with, copied as CF copies them. CFArray,
// CFDictionary and CFSet callbacks share their function types, so one form serves
// all three. A missing callback means: no retain or release, pointer equality,
// the pointer as hash.
struct cf_callbacks
{
    CFDictionaryRetainCallBack retain = nullptr;
    CFDictionaryReleaseCallBack release = nullptr;
    CFDictionaryCopyDescriptionCallBack copy_description = nullptr;
    CFDictionaryEqualCallBack equal = nullptr;
    CFDictionaryHashCallBack hash = nullptr;

    static cf_callbacks of(CFArrayCallBacks const* callbacks) noexcept;
    static cf_callbacks of(CFDictionaryKeyCallBacks const* callbacks) noexcept;
    static cf_callbacks of(CFDictionaryValueCallBacks const* callbacks) noexcept;
    static cf_callbacks of(CFSetCallBacks const* callbacks) noexcept;

    // What the collection stores for `value`: the retain callback's result.
    void const* retain_value(void const* value) const;
    void release_value(void const* value) const;
    // Stores `value` in `slot` in place of what it held, releasing that.
    void replace_value(void const*& slot, void const* value) const;
    bool equal_values(void const* a, void const* b) const;
    CFHashCode hash_value(void const* value) const;
    std::string describe(void const* value) const;
};

// The callbacks of kCFType*CallBacks, and the key retain of
// kCFCopyStringDictionaryKeyCallBacks.
const void* cf_type_retain(CFAllocatorRef allocator, const void* value);
void cf_type_release(CFAllocatorRef allocator, const void* value);
CFStringRef cf_type_copy_description(const void* value);
Boolean cf_type_equal(const void* a, const void* b);
CFHashCode cf_type_hash(const void* value);
const void* cf_string_copy(CFAllocatorRef allocator, const void* value);

} // namespace plinth::sim::detail
