// CFArray's C entry points: creating arrays, reading and changing their values.
#include <CoreFoundation/CFArray.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_array.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_range_check.hpp"

#include <vector>

namespace detail = plinth::sim::detail;
using detail::cf_array;
using detail::cf_callbacks;

namespace {

cf_array* make_array(cf_callbacks callbacks, bool is_mutable, void const* const* values, CFIndex count)
{
    auto* array = detail::make_cf_object<cf_array>(callbacks, is_mutable);
    for (CFIndex i = 0; i < count; ++i)
        array->insert(array->size(), values[i]);
    return array;
}

} // namespace

extern "C" {

const CFArrayCallBacks kCFTypeArrayCallBacks = {
    0, detail::cf_type_retain, detail::cf_type_release, detail::cf_type_copy_description, detail::cf_type_equal,
};

CFTypeID CFArrayGetTypeID(void)
{
    return cf_array::class_type_id();
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex numValues, const CFArrayCallBacks* callBacks)
{
    if (!detail::cf_input_valid(values != nullptr, numValues, "CFArrayCreate", "no values or a negative count"))
        return nullptr;
    return detail::cf_ref<CFArrayRef>(make_array(cf_callbacks::of(callBacks), false, values, numValues));
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef theArray)
{
    auto const* array = detail::cf_checked<cf_array>(theArray, "CFArrayCreateCopy");
    if (array == nullptr)
        return nullptr;
    auto const& values = array->values();
    auto* copy = make_array(array->callbacks(), false, values.data(), static_cast<CFIndex>(values.size()));
    return detail::cf_ref<CFArrayRef>(copy);
}

// The capacity is a hint: CF's arrays grow as needed whatever it says.
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex capacity, const CFArrayCallBacks* callBacks)
{
    if (!detail::cf_capacity_valid(capacity, "CFArrayCreateMutable"))
        return nullptr;
    return detail::cf_ref<CFMutableArrayRef>(make_array(cf_callbacks::of(callBacks), true, nullptr, 0));
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFArrayRef theArray)
{
    auto const* array = detail::cf_checked<cf_array>(theArray, "CFArrayCreateMutableCopy");
    if (array == nullptr || !detail::cf_capacity_valid(capacity, "CFArrayCreateMutableCopy"))
        return nullptr;
    auto const& values = array->values();
    auto* copy = make_array(array->callbacks(), true, values.data(), static_cast<CFIndex>(values.size()));
    return detail::cf_ref<CFMutableArrayRef>(copy);
}

CFIndex CFArrayGetCount(CFArrayRef theArray)
{
    auto const* array = detail::cf_checked<cf_array>(theArray, "CFArrayGetCount");
    return array == nullptr ? 0 : static_cast<CFIndex>(array->size());
}

// Out of range is undefined in CF; here it is reported and gives NULL.
const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx)
{
    auto const* array = detail::cf_checked<cf_array>(theArray, "CFArrayGetValueAtIndex");
    if (array == nullptr || !detail::cf_index_within(idx, array->size(), "CFArrayGetValueAtIndex"))
        return nullptr;
    return array->values()[static_cast<std::size_t>(idx)];
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values)
{
    auto const* array = detail::cf_checked<cf_array>(theArray, "CFArrayGetValues");
    if (array == nullptr || !detail::cf_range_within(range, array->size(), "CFArrayGetValues"))
        return;
    if (values == nullptr && range.length > 0)
    {
        plinth::sim::detail::report_misuse("CFArrayGetValues: NULL values buffer");
        return;
    }
    for (CFIndex i = 0; i < range.length; ++i)
        values[i] = array->values()[static_cast<std::size_t>(range.location + i)];
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value)
{
    auto const* array = detail::cf_checked<cf_array>(theArray, "CFArrayGetFirstIndexOfValue");
    if (array == nullptr || !detail::cf_range_within(range, array->size(), "CFArrayGetFirstIndexOfValue"))
        return kCFNotFound;
    for (CFIndex i = range.location; i < range.location + range.length; ++i)
        if (array->callbacks().equal_values(array->values()[static_cast<std::size_t>(i)], value))
            return i;
    return kCFNotFound;
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value)
{
    return CFArrayGetFirstIndexOfValue(theArray, range, value) != kCFNotFound;
}

// Applied to a snapshot, so that an applier changing the array cannot invalidate the walk.
void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier, void* context)
{
    auto const* array = detail::cf_checked<cf_array>(theArray, "CFArrayApplyFunction");
    if (array == nullptr || !detail::cf_range_within(range, array->size(), "CFArrayApplyFunction"))
        return;
    if (applier == nullptr)
    {
        plinth::sim::detail::report_misuse("CFArrayApplyFunction: NULL applier");
        return;
    }
    auto const first = array->values().begin() + range.location;
    std::vector<void const*> const snapshot(first, first + range.length);
    for (void const* value : snapshot)
        applier(value, context);
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value)
{
    if (auto* array = detail::cf_checked_mutable<cf_array>(theArray, "CFArrayAppendValue"))
        array->insert(array->size(), value);
}

// The values are read before any is added: the other array may be this one.
void CFArrayAppendArray(CFMutableArrayRef theArray, CFArrayRef otherArray, CFRange otherRange)
{
    auto* array = detail::cf_checked_mutable<cf_array>(theArray, "CFArrayAppendArray");
    auto const* other = detail::cf_checked<cf_array>(otherArray, "CFArrayAppendArray");
    if (array == nullptr || other == nullptr ||
        !detail::cf_range_within(otherRange, other->size(), "CFArrayAppendArray"))
        return;
    auto const first = other->values().begin() + otherRange.location;
    std::vector<void const*> const values(first, first + otherRange.length);
    for (void const* value : values)
        array->insert(array->size(), value);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value)
{
    auto* array = detail::cf_checked_mutable<cf_array>(theArray, "CFArrayInsertValueAtIndex");
    if (array != nullptr && detail::cf_index_within(idx, array->size(), "CFArrayInsertValueAtIndex", true))
        array->insert(static_cast<std::size_t>(idx), value);
}

// Setting the index one past the end appends, as CF allows.
void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value)
{
    auto* array = detail::cf_checked_mutable<cf_array>(theArray, "CFArraySetValueAtIndex");
    if (array == nullptr || !detail::cf_index_within(idx, array->size(), "CFArraySetValueAtIndex", true))
        return;
    if (static_cast<std::size_t>(idx) == array->size())
        array->insert(array->size(), value);
    else
        array->replace(static_cast<std::size_t>(idx), value);
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx)
{
    auto* array = detail::cf_checked_mutable<cf_array>(theArray, "CFArrayRemoveValueAtIndex");
    if (array != nullptr && detail::cf_index_within(idx, array->size(), "CFArrayRemoveValueAtIndex"))
        array->remove(static_cast<std::size_t>(idx));
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray)
{
    if (auto* array = detail::cf_checked_mutable<cf_array>(theArray, "CFArrayRemoveAllValues"))
        array->clear();
}

// A stable sort, as Apple's merge sort is: values the comparator finds equal keep
// their order.
void CFArraySortValues(CFMutableArrayRef theArray, CFRange range, CFComparatorFunction comparator, void* context)
{
    auto* array = detail::cf_checked_mutable<cf_array>(theArray, "CFArraySortValues");
    if (array == nullptr || !detail::cf_range_within(range, array->size(), "CFArraySortValues"))
        return;
    if (comparator == nullptr)
    {
        detail::report_misuse("CFArraySortValues: NULL comparator");
        return;
    }
    array->sort(static_cast<std::size_t>(range.location), static_cast<std::size_t>(range.location + range.length),
                comparator, context);
}

} // extern "C"
