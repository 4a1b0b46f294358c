// CFNumber's C entry points: making numbers and reading them as any number type.
#include <CoreFoundation/CFNumber.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_number.hpp"

#include <string>

namespace detail = plinth::sim::detail;
using detail::cf_number;

namespace {

std::optional<CFNumberType> checked_type(CFNumberType type, char const* function)
{
    auto const canonical = detail::canonical_number_type(type);
    if (!canonical)
        plinth::sim::detail::report_misuse(std::string(function) + ": invalid number type " + std::to_string(type));
    return canonical;
}

} // namespace

extern "C" {

CFTypeID CFNumberGetTypeID(void)
{
    return cf_number::class_type_id();
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void* valuePtr)
{
    auto const type = checked_type(theType, "CFNumberCreate");
    if (!type)
        return nullptr;
    if (valuePtr == nullptr)
    {
        plinth::sim::detail::report_misuse("CFNumberCreate: NULL value pointer");
        return nullptr;
    }
    auto const* number = detail::make_cf_object<cf_number>(*type, detail::read_number(*type, valuePtr));
    return detail::cf_ref<CFNumberRef>(number);
}

CFNumberType CFNumberGetType(CFNumberRef number)
{
    auto const* object = detail::cf_checked<cf_number>(number, "CFNumberGetType");
    return object == nullptr ? kCFNumberSInt32Type : object->type();
}

CFIndex CFNumberGetByteSize(CFNumberRef number)
{
    auto const* object = detail::cf_checked<cf_number>(number, "CFNumberGetByteSize");
    return object == nullptr ? 0 : static_cast<CFIndex>(detail::byte_size_of(object->type()));
}

Boolean CFNumberIsFloatType(CFNumberRef number)
{
    auto const* object = detail::cf_checked<cf_number>(number, "CFNumberIsFloatType");
    return object != nullptr && detail::is_float_type(object->type());
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr)
{
    auto const* object = detail::cf_checked<cf_number>(number, "CFNumberGetValue");
    auto const type = checked_type(theType, "CFNumberGetValue");
    if (object == nullptr || !type)
        return false;
    // A NULL destination still answers whether the conversion is exact, as CF does.
    alignas(8) unsigned char scratch[8];
    return detail::store_number(object->value(), *type, valuePtr != nullptr ? valuePtr : scratch);
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void*)
{
    auto const* a = detail::cf_checked<cf_number>(number, "CFNumberCompare");
    auto const* b = detail::cf_checked<cf_number>(otherNumber, "CFNumberCompare");
    if (a == nullptr || b == nullptr)
        return kCFCompareEqualTo;
    int const order = detail::compare_numbers(a->value(), b->value());
    return order < 0 ? kCFCompareLessThan : (order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo);
}

} // extern "C"
