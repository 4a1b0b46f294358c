// The IOHIDElement functions: an element's description, its relatives and its properties.
#include <IOKit/hid/IOHIDElement.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/hid/hid_element_object.hpp"

#include <memory>
#include <string>

namespace {

using plinth::sim::detail::hid_element_info;
using plinth::sim::detail::hid_element_object;

hid_element_object* checked(IOHIDElementRef element, char const* function)
{
    return plinth::sim::detail::cf_checked<hid_element_object>(element, function);
}

// What a getter reads of a valid element; `otherwise` after a misuse report.
template <typename T, typename Read>
T read(IOHIDElementRef element, char const* function, T otherwise, Read how)
{
    auto* const object = checked(element, function);
    return object == nullptr ? otherwise : how(object->info());
}

bool flag(hid_element_info const& e, std::uint32_t mask)
{
    return (e.flags & mask) != 0;
}

std::int64_t number_in(CFDictionaryRef dictionary, char const* key, std::int64_t otherwise)
{
    CFStringRef const name = CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8);
    CFTypeRef const value = CFDictionaryGetValue(dictionary, name);
    CFRelease(name);
    std::int64_t result = otherwise;
    if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID())
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &result);
    return result;
}

} // namespace

extern "C" {

CFTypeID IOHIDElementGetTypeID(void)
{
    return hid_element_object::class_type_id();
}

IOHIDElementRef IOHIDElementCreateWithDictionary(CFAllocatorRef, CFDictionaryRef dictionary)
{
    if (plinth::sim::detail::cf_checked_object(dictionary, "IOHIDElementCreateWithDictionary",
                                               CFDictionaryGetTypeID()) == nullptr)
        return nullptr;
    auto info = std::make_shared<hid_element_info>();
    info->cookie = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementCookieKey, 0));
    info->type =
        static_cast<IOHIDElementType>(number_in(dictionary, kIOHIDElementTypeKey, kIOHIDElementTypeInput_Misc));
    info->what =
        info->type == kIOHIDElementTypeCollection ? hid_element_info::kind::collection : hid_element_info::kind::data;
    info->collection_type = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementCollectionTypeKey, 0));
    info->usage_page = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementUsagePageKey, 0));
    info->usage = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementUsageKey, 0));
    info->report_id = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementReportIDKey, 0));
    info->report_size = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementReportSizeKey, 0));
    info->report_count = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementReportCountKey, 1));
    info->flags = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementFlagsKey, 0));
    info->logical_min = static_cast<std::int32_t>(number_in(dictionary, kIOHIDElementMinKey, 0));
    info->logical_max = static_cast<std::int32_t>(number_in(dictionary, kIOHIDElementMaxKey, 0));
    info->physical_min = static_cast<std::int32_t>(number_in(dictionary, kIOHIDElementScaledMinKey, info->logical_min));
    info->physical_max = static_cast<std::int32_t>(number_in(dictionary, kIOHIDElementScaledMaxKey, info->logical_max));
    info->unit = static_cast<std::uint32_t>(number_in(dictionary, kIOHIDElementUnitKey, 0));
    auto const exponent = number_in(dictionary, kIOHIDElementUnitExponentKey, 0) & 0xF;
    info->unit_exponent = static_cast<std::int8_t>(exponent > 7 ? exponent - 16 : exponent);
    info->bit_length = info->report_size * info->report_count;
    auto* const element = plinth::sim::detail::make_cf_object<hid_element_object>(std::move(info), nullptr);
    return plinth::sim::detail::cf_ref<IOHIDElementRef>(element);
}

IOHIDDeviceRef IOHIDElementGetDevice(IOHIDElementRef element)
{
    auto* const object = checked(element, "IOHIDElementGetDevice");
    return object == nullptr ? nullptr : object->device();
}

IOHIDElementRef IOHIDElementGetParent(IOHIDElementRef element)
{
    auto* const object = checked(element, "IOHIDElementGetParent");
    return object == nullptr ? nullptr : object->parent();
}

CFArrayRef IOHIDElementGetChildren(IOHIDElementRef element)
{
    auto* const object = checked(element, "IOHIDElementGetChildren");
    return object == nullptr ? nullptr : object->children();
}

void IOHIDElementAttach(IOHIDElementRef element, IOHIDElementRef toAttach)
{
    auto* const object = checked(element, "IOHIDElementAttach");
    if (object != nullptr && checked(toAttach, "IOHIDElementAttach") != nullptr && element != toAttach)
        object->attach(toAttach);
}

void IOHIDElementDetach(IOHIDElementRef element, IOHIDElementRef toDetach)
{
    auto* const object = checked(element, "IOHIDElementDetach");
    if (object != nullptr && checked(toDetach, "IOHIDElementDetach") != nullptr)
        object->detach(toDetach);
}

CFArrayRef IOHIDElementCopyAttached(IOHIDElementRef element)
{
    auto* const object = checked(element, "IOHIDElementCopyAttached");
    return object == nullptr ? nullptr : object->copy_attached();
}

IOHIDElementCookie IOHIDElementGetCookie(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetCookie", IOHIDElementCookie{0},
                [](auto const& e) { return static_cast<IOHIDElementCookie>(e.cookie); });
}

IOHIDElementType IOHIDElementGetType(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetType", IOHIDElementType{}, [](auto const& e) { return e.type; });
}

IOHIDElementCollectionType IOHIDElementGetCollectionType(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetCollectionType", kIOHIDElementCollectionTypePhysical,
                [](auto const& e) { return static_cast<IOHIDElementCollectionType>(e.collection_type); });
}

uint32_t IOHIDElementGetUsagePage(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetUsagePage", 0U, [](auto const& e) { return e.usage_page; });
}

uint32_t IOHIDElementGetUsage(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetUsage", 0U, [](auto const& e) { return e.usage; });
}

Boolean IOHIDElementIsVirtual(IOHIDElementRef element)
{
    return read(element, "IOHIDElementIsVirtual", Boolean{0}, [](auto const& e) { return Boolean(e.is_virtual); });
}

Boolean IOHIDElementIsRelative(IOHIDElementRef element)
{
    return read(element, "IOHIDElementIsRelative", Boolean{0},
                [](auto const& e) { return Boolean(flag(e, kIOHIDElementFlagsRelativeMask)); });
}

Boolean IOHIDElementIsWrapping(IOHIDElementRef element)
{
    return read(element, "IOHIDElementIsWrapping", Boolean{0},
                [](auto const& e) { return Boolean(flag(e, kIOHIDElementFlagsWrapMask)); });
}

Boolean IOHIDElementIsArray(IOHIDElementRef element)
{
    return read(element, "IOHIDElementIsArray", Boolean{0}, [](auto const& e) {
        return Boolean(e.type != kIOHIDElementTypeCollection && !flag(e, kIOHIDElementFlagsVariableMask));
    });
}

Boolean IOHIDElementIsNonLinear(IOHIDElementRef element)
{
    return read(element, "IOHIDElementIsNonLinear", Boolean{0},
                [](auto const& e) { return Boolean(flag(e, kIOHIDElementFlagsNonLinearMask)); });
}

Boolean IOHIDElementHasPreferredState(IOHIDElementRef element)
{
    return read(element, "IOHIDElementHasPreferredState", Boolean{0},
                [](auto const& e) { return Boolean(!flag(e, kIOHIDElementFlagsNoPreferredMask)); });
}

Boolean IOHIDElementHasNullState(IOHIDElementRef element)
{
    return read(element, "IOHIDElementHasNullState", Boolean{0},
                [](auto const& e) { return Boolean(flag(e, kIOHIDElementFlagsNullStateMask)); });
}

// Descriptors name no elements (string indexes are not read), so no element has a name.
CFStringRef IOHIDElementGetName(IOHIDElementRef element)
{
    checked(element, "IOHIDElementGetName");
    return nullptr;
}

uint32_t IOHIDElementGetReportID(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetReportID", 0U, [](auto const& e) { return e.report_id; });
}

uint32_t IOHIDElementGetReportSize(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetReportSize", 0U, [](auto const& e) { return e.report_size; });
}

uint32_t IOHIDElementGetReportCount(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetReportCount", 0U, [](auto const& e) { return e.report_count; });
}

uint32_t IOHIDElementGetUnit(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetUnit", 0U, [](auto const& e) { return e.unit; });
}

// The exponent as the descriptor's item holds it: a four-bit two's complement.
uint32_t IOHIDElementGetUnitExponent(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetUnitExponent", 0U,
                [](auto const& e) { return static_cast<uint32_t>(e.unit_exponent) & 0xFU; });
}

CFIndex IOHIDElementGetLogicalMin(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetLogicalMin", CFIndex{0}, [](auto const& e) { return CFIndex{e.logical_min}; });
}

CFIndex IOHIDElementGetLogicalMax(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetLogicalMax", CFIndex{0}, [](auto const& e) { return CFIndex{e.logical_max}; });
}

CFIndex IOHIDElementGetPhysicalMin(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetPhysicalMin", CFIndex{0},
                [](auto const& e) { return CFIndex{e.physical_min}; });
}

CFIndex IOHIDElementGetPhysicalMax(IOHIDElementRef element)
{
    return read(element, "IOHIDElementGetPhysicalMax", CFIndex{0},
                [](auto const& e) { return CFIndex{e.physical_max}; });
}

CFTypeRef IOHIDElementGetProperty(IOHIDElementRef element, CFStringRef key)
{
    auto* const object = checked(element, "IOHIDElementGetProperty");
    if (object == nullptr ||
        plinth::sim::detail::cf_checked_object(key, "IOHIDElementGetProperty", CFStringGetTypeID()) == nullptr)
        return nullptr;
    return object->property(key);
}

Boolean IOHIDElementSetProperty(IOHIDElementRef element, CFStringRef key, CFTypeRef property)
{
    auto* const object = checked(element, "IOHIDElementSetProperty");
    if (object == nullptr ||
        plinth::sim::detail::cf_checked_object(key, "IOHIDElementSetProperty", CFStringGetTypeID()) == nullptr ||
        plinth::sim::detail::cf_checked_object(property, "IOHIDElementSetProperty") == nullptr)
        return false;
    object->set_property(key, property);
    return true;
}

} // extern "C"
