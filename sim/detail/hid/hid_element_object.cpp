// The IOHIDElementRef object: one element of a device's list, owned by its device.
#include "sim/detail/hid/hid_element_object.hpp"

#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <IOKit/hid/IOHIDKeys.h>

#include <fmt/format.h>

#include <cstdint>
#include <utility>

namespace plinth::sim::detail {
namespace {

CFTypeRef cf_integer(std::int64_t value)
{
    return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value);
}

CFTypeRef cf_flag(bool value)
{
    return CFRetain(value ? kCFBooleanTrue : kCFBooleanFalse);
}

} // namespace

hid_element_object::hid_element_object(std::shared_ptr<hid_element_info const> info, IOHIDDeviceRef device)
    : cf_object(class_type_id(), false), info_(std::move(info)), device_(device)
{
}

hid_element_object::~hid_element_object()
{
    orphan();
    if (properties_ != nullptr)
        CFRelease(properties_);
    if (attached_ != nullptr)
        CFRelease(attached_);
}

CFTypeID hid_element_object::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("IOHIDElement");
    return id;
}

IOHIDDeviceRef hid_element_object::device() const
{
    std::lock_guard const lock(mutex_);
    return device_;
}

IOHIDElementRef hid_element_object::parent() const
{
    std::lock_guard const lock(mutex_);
    return parent_;
}

CFArrayRef hid_element_object::children() const
{
    std::lock_guard const lock(mutex_);
    return children_;
}

void hid_element_object::link(IOHIDElementRef parent, CFArrayRef children)
{
    std::lock_guard const lock(mutex_);
    parent_ = parent;
    children_ = children == nullptr ? nullptr : static_cast<CFArrayRef>(CFRetain(children));
}

void hid_element_object::orphan()
{
    CFArrayRef children = nullptr;
    IOHIDValueRef value = nullptr;
    {
        std::lock_guard const lock(mutex_);
        device_ = nullptr;
        parent_ = nullptr;
        children = std::exchange(children_, nullptr);
        value = std::exchange(value_, nullptr);
    }
    // Released outside the lock: the value may be the last holder of this element.
    if (children != nullptr)
        CFRelease(children);
    if (value != nullptr)
        CFRelease(value);
}

IOHIDValueRef hid_element_object::keep_value(IOHIDValueRef value)
{
    IOHIDValueRef previous = nullptr;
    {
        std::lock_guard const lock(mutex_);
        previous = std::exchange(value_, value);
    }
    if (previous != nullptr)
        CFRelease(previous);
    return value;
}

CFTypeRef hid_element_object::property(CFStringRef key)
{
    std::lock_guard const lock(mutex_);
    if (properties_ == nullptr)
        properties_ = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks);
    if (CFTypeRef const known = CFDictionaryGetValue(properties_, key))
        return known;
    CFTypeRef const made = standard_property(utf8_of(key, "IOHIDElementGetProperty"));
    if (made == nullptr)
        return nullptr;
    CFDictionarySetValue(properties_, key, made);
    CFRelease(made);
    return made;
}

void hid_element_object::set_property(CFStringRef key, CFTypeRef value)
{
    std::lock_guard const lock(mutex_);
    if (properties_ == nullptr)
        properties_ = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks);
    CFDictionarySetValue(properties_, key, value);
}

CFTypeRef hid_element_object::standard_property(std::string const& key) const
{
    auto const& e = *info_;
    bool const data = e.type != kIOHIDElementTypeCollection;
    if (key == kIOHIDElementCookieKey)
        return cf_integer(e.cookie);
    if (key == kIOHIDElementTypeKey)
        return cf_integer(e.type);
    if (key == kIOHIDElementUsageKey)
        return cf_integer(e.usage);
    if (key == kIOHIDElementUsagePageKey)
        return cf_integer(e.usage_page);
    if (key == kIOHIDElementReportIDKey)
        return cf_integer(e.report_id);
    if (key == kIOHIDElementCollectionTypeKey)
        return data ? nullptr : cf_integer(e.collection_type);
    if (!data)
        return nullptr;
    if (key == kIOHIDElementSizeKey)
        return cf_integer(std::int64_t{e.report_size} * e.report_count);
    if (key == kIOHIDElementReportSizeKey)
        return cf_integer(e.report_size);
    if (key == kIOHIDElementReportCountKey)
        return cf_integer(e.report_count);
    if (key == kIOHIDElementFlagsKey)
        return cf_integer(e.flags);
    if (key == kIOHIDElementMinKey)
        return cf_integer(e.logical_min);
    if (key == kIOHIDElementMaxKey)
        return cf_integer(e.logical_max);
    if (key == kIOHIDElementScaledMinKey)
        return cf_integer(e.physical_min);
    if (key == kIOHIDElementScaledMaxKey)
        return cf_integer(e.physical_max);
    if (key == kIOHIDElementUnitKey)
        return cf_integer(e.unit);
    if (key == kIOHIDElementUnitExponentKey)
        return cf_integer(e.unit_exponent & 0xF);
    if (key == kIOHIDElementIsArrayKey)
        return cf_flag((e.flags & kIOHIDElementFlagsVariableMask) == 0);
    if (key == kIOHIDElementIsRelativeKey)
        return cf_flag((e.flags & kIOHIDElementFlagsRelativeMask) != 0);
    if (key == kIOHIDElementIsWrappingKey)
        return cf_flag((e.flags & kIOHIDElementFlagsWrapMask) != 0);
    if (key == kIOHIDElementIsNonLinearKey)
        return cf_flag((e.flags & kIOHIDElementFlagsNonLinearMask) != 0);
    if (key == kIOHIDElementHasPreferredStateKey)
        return cf_flag((e.flags & kIOHIDElementFlagsNoPreferredMask) == 0);
    if (key == kIOHIDElementHasNullStateKey)
        return cf_flag((e.flags & kIOHIDElementFlagsNullStateMask) != 0);
    return nullptr;
}

void hid_element_object::attach(IOHIDElementRef other)
{
    std::lock_guard const lock(mutex_);
    if (attached_ == nullptr)
        attached_ = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    if (CFArrayContainsValue(attached_, CFRangeMake(0, CFArrayGetCount(attached_)), other) == 0)
        CFArrayAppendValue(attached_, other);
}

void hid_element_object::detach(IOHIDElementRef other)
{
    std::lock_guard const lock(mutex_);
    if (attached_ == nullptr)
        return;
    auto const at = CFArrayGetFirstIndexOfValue(attached_, CFRangeMake(0, CFArrayGetCount(attached_)), other);
    if (at >= 0)
        CFArrayRemoveValueAtIndex(attached_, at);
}

CFArrayRef hid_element_object::copy_attached() const
{
    std::lock_guard const lock(mutex_);
    if (attached_ == nullptr || CFArrayGetCount(attached_) == 0)
        return nullptr;
    return CFArrayCreateCopy(kCFAllocatorDefault, attached_);
}

std::string hid_element_object::description() const
{
    auto const& e = *info_;
    return fmt::format("{}{{type = {}, cookie = {}, usage page = {:#x}, usage = {:#x}, report ID = {}, size = {}}}",
                       description_head(), static_cast<int>(e.type), e.cookie, e.usage_page, e.usage, e.report_id,
                       std::uint64_t{e.report_size} * e.report_count);
}

} // namespace plinth::sim::detail
