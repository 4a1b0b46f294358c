// hid_device_elements: the element objects of one IOHIDDeviceRef, and matching among them.
#pragma once

#include "sim/detail/hid/hid_element_layout.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDBase.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace plinth::sim::detail {

class hid_element_object;

// The IOHIDElementRefs of one IOHIDDeviceRef, one per element of its layout, in
// cookie order. They live while the device does (and longer for those a caller
// retains, though they then forget the device).
class hid_device_elements
{
public:
    hid_device_elements(IOHIDDeviceRef device, std::shared_ptr<hid_element_layout const> layout);
    ~hid_device_elements();
    hid_device_elements(hid_device_elements const&) = delete;
    hid_device_elements& operator=(hid_device_elements const&) = delete;

    std::shared_ptr<hid_element_layout const> const& layout() const noexcept { return layout_; }
    std::size_t size() const noexcept { return elements_.size(); }
    IOHIDElementRef element(std::uint32_t cookie) const;

    // The cookies of the elements that match every key of `matching` that is
    // known; all of them for NULL.
    std::vector<std::uint32_t> matching(CFDictionaryRef matching) const;
    // A new array of those elements; NULL when none matches.
    CFArrayRef copy_matching(CFDictionaryRef matching) const;

    // A new value of the element with that cookie: `bytes`, or zeros as wide as
    // its value when the device never gave it one.
    IOHIDValueRef make_value(std::uint32_t cookie, std::span<std::uint8_t const> bytes, std::uint64_t timestamp) const;

private:
    std::shared_ptr<hid_element_layout const> layout_;
    std::vector<IOHIDElementRef> elements_; // retained
};

} // namespace plinth::sim::detail
