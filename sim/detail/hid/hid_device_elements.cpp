// hid_device_elements: the element objects of one IOHIDDeviceRef, and matching among them.
#include "sim/detail/hid/hid_device_elements.hpp"

#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/hid/hid_element_object.hpp"
#include "sim/detail/hid/hid_value_object.hpp"

#include <IOKit/hid/IOHIDKeys.h>

#include <array>
#include <functional>
#include <string>

namespace plinth::sim::detail {
namespace {

// The keys matching compares, and what each compares with. Other keys are ignored.
struct matching_key
{
    char const* name;
    std::function<bool(hid_element_info const&, std::int64_t)> accepts;
};

std::array<matching_key, 12> const& matching_keys()
{
    static std::array<matching_key, 12> const keys{{
        {kIOHIDElementCookieKey, [](hid_element_info const& e, std::int64_t v) { return e.cookie == v; }},
        {kIOHIDElementTypeKey, [](hid_element_info const& e, std::int64_t v) { return e.type == v; }},
        {kIOHIDElementUsageKey, [](hid_element_info const& e, std::int64_t v) { return e.usage == v; }},
        {kIOHIDElementUsagePageKey, [](hid_element_info const& e, std::int64_t v) { return e.usage_page == v; }},
        {kIOHIDElementUnitKey, [](hid_element_info const& e, std::int64_t v) { return e.unit == v; }},
        {kIOHIDElementUnitExponentKey,
         [](hid_element_info const& e, std::int64_t v) { return (e.unit_exponent & 0xF) == v; }},
        {kIOHIDElementReportIDKey, [](hid_element_info const& e, std::int64_t v) { return e.report_id == v; }},
        {kIOHIDElementCollectionTypeKey,
         [](hid_element_info const& e, std::int64_t v) {
             return e.type == kIOHIDElementTypeCollection && e.collection_type == v;
         }},
        {kIOHIDElementUsageMinKey, [](hid_element_info const& e, std::int64_t v) { return e.usage >= v; }},
        {kIOHIDElementUsageMaxKey, [](hid_element_info const& e, std::int64_t v) { return e.usage <= v; }},
        {kIOHIDElementCookieMinKey, [](hid_element_info const& e, std::int64_t v) { return e.cookie >= v; }},
        {kIOHIDElementCookieMaxKey, [](hid_element_info const& e, std::int64_t v) { return e.cookie <= v; }},
    }};
    return keys;
}

} // namespace

hid_device_elements::hid_device_elements(IOHIDDeviceRef device, std::shared_ptr<hid_element_layout const> layout)
    : layout_(std::move(layout))
{
    auto const& list = layout_->elements();
    elements_.reserve(list.size());
    for (auto const& e : list)
    {
        std::shared_ptr<hid_element_info const> const one(layout_, &e);
        elements_.push_back(cf_ref<IOHIDElementRef>(make_cf_object<hid_element_object>(one, device)));
    }
    for (auto const& e : list)
    {
        CFArrayRef children = nullptr;
        if (e.type == kIOHIDElementTypeCollection)
        {
            auto* const made = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
            for (auto const child : e.children)
                CFArrayAppendValue(made, elements_[child]);
            children = made;
        }
        auto* const object = static_cast<hid_element_object*>(cf_object::from_ref(elements_[e.cookie]));
        object->link(e.parent ? elements_[*e.parent] : nullptr, children);
        if (children != nullptr)
            CFRelease(children);
    }
}

hid_device_elements::~hid_device_elements()
{
    // First every link between elements and to their values, then the elements:
    // those a caller still holds outlive the device without it.
    for (auto const element : elements_)
        static_cast<hid_element_object*>(cf_object::from_ref(element))->orphan();
    for (auto const element : elements_)
        CFRelease(element);
}

IOHIDElementRef hid_device_elements::element(std::uint32_t cookie) const
{
    return cookie < elements_.size() ? elements_[cookie] : nullptr;
}

std::vector<std::uint32_t> hid_device_elements::matching(CFDictionaryRef matching) const
{
    std::vector<std::uint32_t> found;
    for (auto const& e : layout_->elements())
    {
        bool accepted = true;
        for (auto const& key : matching_keys())
        {
            if (matching == nullptr)
                break;
            CFStringRef const name = CFStringCreateWithCString(kCFAllocatorDefault, key.name, kCFStringEncodingUTF8);
            CFTypeRef const value = CFDictionaryGetValue(matching, name);
            CFRelease(name);
            if (value == nullptr)
                continue;
            std::int64_t number = 0;
            if (CFGetTypeID(value) != CFNumberGetTypeID() ||
                CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number) == 0 ||
                !key.accepts(e, number))
            {
                accepted = false;
                break;
            }
        }
        if (accepted)
            found.push_back(e.cookie);
    }
    return found;
}

CFArrayRef hid_device_elements::copy_matching(CFDictionaryRef matching_dictionary) const
{
    auto const cookies = matching(matching_dictionary);
    if (cookies.empty())
        return nullptr;
    auto* const array =
        CFArrayCreateMutable(kCFAllocatorDefault, static_cast<CFIndex>(cookies.size()), &kCFTypeArrayCallBacks);
    for (auto const cookie : cookies)
        CFArrayAppendValue(array, elements_[cookie]);
    return array;
}

IOHIDValueRef hid_device_elements::make_value(std::uint32_t cookie, std::span<std::uint8_t const> bytes,
                                              std::uint64_t timestamp) const
{
    auto const element = elements_.at(cookie);
    std::vector<std::uint8_t> value(bytes.begin(), bytes.end());
    if (value.empty())
        value.assign(layout_->elements()[cookie].byte_length(), 0);
    return cf_ref<IOHIDValueRef>(make_cf_object<hid_value_object>(element, timestamp, std::move(value)));
}

} // namespace plinth::sim::detail
