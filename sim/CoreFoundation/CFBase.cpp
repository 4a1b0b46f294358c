// CFBase's C entry points: the default allocators, retain and release, type IDs, equality, hashing, descriptions.
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <cstdlib>

namespace detail = plinth::sim::detail;

extern "C" {

// That of macOS 13.0.
double kCFCoreFoundationVersionNumber = 1953.1;
const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = nullptr;

// Every allocator is the system's: memory comes from malloc, as the default
// allocator's does on a Mac.
CFAllocatorRef CFAllocatorGetDefault(void)
{
    return kCFAllocatorDefault;
}

void* CFAllocatorAllocate(CFAllocatorRef, CFIndex size, CFOptionFlags)
{
    return size > 0 ? std::malloc(static_cast<std::size_t>(size)) : nullptr;
}

// As Apple's: NULL memory is allocated, a size of zero or less frees.
void* CFAllocatorReallocate(CFAllocatorRef allocator, void* ptr, CFIndex newsize, CFOptionFlags hint)
{
    if (ptr == nullptr)
        return CFAllocatorAllocate(allocator, newsize, hint);
    if (newsize <= 0)
    {
        std::free(ptr);
        return nullptr;
    }
    return std::realloc(ptr, static_cast<std::size_t>(newsize));
}

void CFAllocatorDeallocate(CFAllocatorRef, void* ptr)
{
    std::free(ptr);
}

CFTypeRef CFRetain(CFTypeRef cf)
{
    if (auto* object = detail::cf_checked_object(cf, "CFRetain"))
        object->retain();
    return cf;
}

void CFRelease(CFTypeRef cf)
{
    auto* object = detail::cf_checked_object(cf, "CFRelease");
    if (object != nullptr && object->release())
        detail::destroy_cf_object(object);
}

CFIndex CFGetRetainCount(CFTypeRef cf)
{
    auto const* object = detail::cf_checked_object(cf, "CFGetRetainCount");
    return object == nullptr ? 0 : object->retain_count();
}

CFTypeID CFGetTypeID(CFTypeRef cf)
{
    auto const* object = detail::cf_checked_object(cf, "CFGetTypeID");
    return object == nullptr ? 0 : object->type_id();
}

CFStringRef CFCopyTypeIDDescription(CFTypeID type_id)
{
    auto name = detail::cf_type_registry::name_of(type_id);
    if (name.empty())
    {
        plinth::sim::detail::report_misuse("CFCopyTypeIDDescription: unknown type ID " + std::to_string(type_id));
        return nullptr;
    }
    return detail::make_cf_string(std::move(name));
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2)
{
    auto const* a = detail::cf_checked_object(cf1, "CFEqual");
    auto const* b = detail::cf_checked_object(cf2, "CFEqual");
    if (a == nullptr || b == nullptr)
        return false;
    if (a == b)
        return true;
    return a->type_id() == b->type_id() && a->equals(*b);
}

CFHashCode CFHash(CFTypeRef cf)
{
    auto const* object = detail::cf_checked_object(cf, "CFHash");
    return object == nullptr ? 0 : object->hash();
}

CFStringRef CFCopyDescription(CFTypeRef cf)
{
    auto const* object = detail::cf_checked_object(cf, "CFCopyDescription");
    return object == nullptr ? nullptr : detail::make_cf_string(object->description());
}

} // extern "C"
