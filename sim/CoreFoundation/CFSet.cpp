// CFSet's C entry points: creating sets, membership, reading their values.
#include <CoreFoundation/CFSet.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_range_check.hpp"
#include "sim/detail/cf/cf_set.hpp"

namespace detail = plinth::sim::detail;
using detail::cf_callbacks;
using detail::cf_set;

extern "C" {

const CFSetCallBacks kCFTypeSetCallBacks = {
    0,
    detail::cf_type_retain,
    detail::cf_type_release,
    detail::cf_type_copy_description,
    detail::cf_type_equal,
    detail::cf_type_hash,
};

CFTypeID CFSetGetTypeID(void)
{
    return cf_set::class_type_id();
}

// A value given twice is stored once (the first).
CFSetRef CFSetCreate(CFAllocatorRef, const void** values, CFIndex numValues, const CFSetCallBacks* callBacks)
{
    if (!detail::cf_input_valid(values != nullptr, numValues, "CFSetCreate", "no values or a negative count"))
        return nullptr;
    auto* set = detail::make_cf_object<cf_set>(cf_callbacks::of(callBacks), false);
    for (CFIndex i = 0; i < numValues; ++i)
        set->table().add(values[i], values[i]);
    return detail::cf_ref<CFSetRef>(set);
}

// The capacity is a hint: CF's sets grow as needed whatever it says.
CFMutableSetRef CFSetCreateMutable(CFAllocatorRef, CFIndex capacity, const CFSetCallBacks* callBacks)
{
    if (!detail::cf_capacity_valid(capacity, "CFSetCreateMutable"))
        return nullptr;
    return detail::cf_ref<CFMutableSetRef>(detail::make_cf_object<cf_set>(cf_callbacks::of(callBacks), true));
}

CFIndex CFSetGetCount(CFSetRef theSet)
{
    auto const* set = detail::cf_checked<cf_set>(theSet, "CFSetGetCount");
    return set == nullptr ? 0 : static_cast<CFIndex>(set->table().size());
}

Boolean CFSetContainsValue(CFSetRef theSet, const void* value)
{
    auto const* set = detail::cf_checked<cf_set>(theSet, "CFSetContainsValue");
    return set != nullptr && set->table().find(value) != nullptr;
}

void CFSetGetValues(CFSetRef theSet, const void** values)
{
    auto const* set = detail::cf_checked<cf_set>(theSet, "CFSetGetValues");
    if (set == nullptr)
        return;
    // As CFArrayGetValues: an empty set writes nothing, so an empty buffer (the
    // data() of an empty vector is NULL) is no misuse.
    if (values == nullptr && set->table().size() > 0)
    {
        plinth::sim::detail::report_misuse("CFSetGetValues: NULL values buffer");
        return;
    }
    std::size_t i = 0;
    for (auto const& e : set->table())
        values[i++] = e.key;
}

// Applied to a snapshot, so that an applier changing the set cannot invalidate the walk.
void CFSetApplyFunction(CFSetRef theSet, CFSetApplierFunction applier, void* context)
{
    auto const* set = detail::cf_checked<cf_set>(theSet, "CFSetApplyFunction");
    if (set == nullptr)
        return;
    if (applier == nullptr)
    {
        plinth::sim::detail::report_misuse("CFSetApplyFunction: NULL applier");
        return;
    }
    for (auto const& e : set->table().snapshot())
        applier(e.key, context);
}

void CFSetAddValue(CFMutableSetRef theSet, const void* value)
{
    if (auto* set = detail::cf_checked_mutable<cf_set>(theSet, "CFSetAddValue"))
        set->table().add(value, value);
}

void CFSetRemoveValue(CFMutableSetRef theSet, const void* value)
{
    if (auto* set = detail::cf_checked_mutable<cf_set>(theSet, "CFSetRemoveValue"))
        set->table().remove(value);
}

} // extern "C"
