// The IOHIDValue functions: making values and reading them.
#include <IOKit/hid/IOHIDValue.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_range_check.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/hid/hid_element_object.hpp"
#include "sim/detail/hid/hid_value_object.hpp"

#include <string>
#include <vector>

namespace {

using plinth::sim::detail::cf_ref;
using plinth::sim::detail::hid_element_object;
using plinth::sim::detail::hid_value_object;
using plinth::sim::detail::make_cf_object;

hid_value_object* checked(IOHIDValueRef value, char const* function)
{
    return plinth::sim::detail::cf_checked<hid_value_object>(value, function);
}

bool valid_element(IOHIDElementRef element, char const* function)
{
    return plinth::sim::detail::cf_checked<hid_element_object>(element, function) != nullptr;
}

} // namespace

extern "C" {

CFTypeID IOHIDValueGetTypeID(void)
{
    return hid_value_object::class_type_id();
}

IOHIDValueRef IOHIDValueCreateWithIntegerValue(CFAllocatorRef, IOHIDElementRef element, uint64_t timeStamp,
                                               CFIndex value)
{
    if (!valid_element(element, "IOHIDValueCreateWithIntegerValue"))
        return nullptr;
    return cf_ref<IOHIDValueRef>(make_cf_object<hid_value_object>(element, timeStamp, value));
}

IOHIDValueRef IOHIDValueCreateWithBytes(CFAllocatorRef, IOHIDElementRef element, uint64_t timeStamp,
                                        const uint8_t* bytes, CFIndex length)
{
    if (!valid_element(element, "IOHIDValueCreateWithBytes") ||
        !plinth::sim::detail::cf_input_valid(bytes != nullptr, length, "IOHIDValueCreateWithBytes",
                                             "no bytes or a negative length"))
        return nullptr;
    return cf_ref<IOHIDValueRef>(
        make_cf_object<hid_value_object>(element, timeStamp, std::vector<std::uint8_t>(bytes, bytes + length)));
}

IOHIDValueRef IOHIDValueCreateWithBytesNoCopy(CFAllocatorRef, IOHIDElementRef element, uint64_t timeStamp,
                                              const uint8_t* bytes, CFIndex length)
{
    if (!valid_element(element, "IOHIDValueCreateWithBytesNoCopy") ||
        !plinth::sim::detail::cf_input_valid(bytes != nullptr, length, "IOHIDValueCreateWithBytesNoCopy",
                                             "no bytes or a negative length"))
        return nullptr;
    return cf_ref<IOHIDValueRef>(make_cf_object<hid_value_object>(element, timeStamp, bytes, length));
}

IOHIDElementRef IOHIDValueGetElement(IOHIDValueRef value)
{
    auto* const object = checked(value, "IOHIDValueGetElement");
    return object == nullptr ? nullptr : object->element();
}

uint64_t IOHIDValueGetTimeStamp(IOHIDValueRef value)
{
    auto* const object = checked(value, "IOHIDValueGetTimeStamp");
    return object == nullptr ? 0 : object->timestamp();
}

CFIndex IOHIDValueGetLength(IOHIDValueRef value)
{
    auto* const object = checked(value, "IOHIDValueGetLength");
    return object == nullptr ? 0 : object->length();
}

const uint8_t* IOHIDValueGetBytePtr(IOHIDValueRef value)
{
    auto* const object = checked(value, "IOHIDValueGetBytePtr");
    return object == nullptr ? nullptr : object->bytes();
}

CFIndex IOHIDValueGetIntegerValue(IOHIDValueRef value)
{
    auto* const object = checked(value, "IOHIDValueGetIntegerValue");
    return object == nullptr ? 0 : object->integer();
}

double_t IOHIDValueGetScaledValue(IOHIDValueRef value, IOHIDValueScaleType type)
{
    auto* const object = checked(value, "IOHIDValueGetScaledValue");
    return object == nullptr ? 0 : object->scaled(type);
}

} // extern "C"
