// Collection callbacks copied from the caller's structs, and the standard CFType ones.
#include "sim/detail/cf/cf_callbacks.hpp"

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_string.hpp"

#include <CoreFoundation/CFString.h>

#include <functional>
#include <sstream>

namespace plinth::sim::detail {
namespace {

// The four CF callback structs share their leading fields; keys of dictionaries
// and the values of sets add a hash.
template <typename CallBacks>
cf_callbacks from_struct(CallBacks const* callbacks) noexcept
{
    cf_callbacks result;
    if (callbacks == nullptr)
        return result;
    result.retain = callbacks->retain;
    result.release = callbacks->release;
    result.copy_description = callbacks->copyDescription;
    result.equal = callbacks->equal;
    if constexpr (requires { callbacks->hash; })
        result.hash = callbacks->hash;
    return result;
}

} // namespace

cf_callbacks cf_callbacks::of(CFArrayCallBacks const* callbacks) noexcept
{
    return from_struct(callbacks);
}

cf_callbacks cf_callbacks::of(CFDictionaryKeyCallBacks const* callbacks) noexcept
{
    return from_struct(callbacks);
}

cf_callbacks cf_callbacks::of(CFDictionaryValueCallBacks const* callbacks) noexcept
{
    return from_struct(callbacks);
}

cf_callbacks cf_callbacks::of(CFSetCallBacks const* callbacks) noexcept
{
    return from_struct(callbacks);
}

void const* cf_callbacks::retain_value(void const* value) const
{
    return retain != nullptr ? retain(kCFAllocatorDefault, value) : value;
}

void cf_callbacks::release_value(void const* value) const
{
    if (release != nullptr)
        release(kCFAllocatorDefault, value);
}

// The new value is retained before the old one is released, so that replacing a
// value with itself never frees it.
void cf_callbacks::replace_value(void const*& slot, void const* value) const
{
    void const* const old_value = slot;
    slot = retain_value(value);
    release_value(old_value);
}

bool cf_callbacks::equal_values(void const* a, void const* b) const
{
    return a == b || (equal != nullptr && equal(a, b));
}

CFHashCode cf_callbacks::hash_value(void const* value) const
{
    return hash != nullptr ? hash(value) : std::hash<void const*>{}(value);
}

std::string cf_callbacks::describe(void const* value) const
{
    if (copy_description != nullptr)
    {
        if (CFStringRef const text = copy_description(value))
        {
            auto const* string = cf_checked<cf_string>(text, "copyDescription callback");
            std::string result = string != nullptr ? string->utf8() : std::string();
            CFRelease(text);
            return result;
        }
    }
    std::ostringstream out;
    out << '<' << value << '>';
    return out.str();
}

const void* cf_type_retain(CFAllocatorRef, const void* value)
{
    return CFRetain(value);
}

void cf_type_release(CFAllocatorRef, const void* value)
{
    CFRelease(value);
}

CFStringRef cf_type_copy_description(const void* value)
{
    return CFCopyDescription(value);
}

Boolean cf_type_equal(const void* a, const void* b)
{
    return CFEqual(a, b);
}

CFHashCode cf_type_hash(const void* value)
{
    return CFHash(value);
}

const void* cf_string_copy(CFAllocatorRef allocator, const void* value)
{
    return CFStringCreateCopy(allocator, static_cast<CFStringRef>(value));
}

} // namespace plinth::sim::detail
