// The IOHIDElementRef object: one element of a device's list, owned by its device.
#pragma once

#include "sim/detail/cf/cf_object.hpp"
#include "sim/detail/hid/hid_element_layout.hpp"

#include <IOKit/hid/IOHIDBase.h>

#include <memory>
#include <mutex>
#include <string>

namespace plinth::sim::detail {

// What an IOHIDElementRef is: the kernel's description of one element, the links
// to its device, parent and children (none of them retained by the element: the
// device holds the element list), its property dictionary, and the last value
// IOHIDDeviceGetValue handed out (the Get rule keeps it here).
class hid_element_object final : public cf_object
{
public:
    hid_element_object(std::shared_ptr<hid_element_info const> info, IOHIDDeviceRef device);
    ~hid_element_object() override;

    static CFTypeID class_type_id();

    hid_element_info const& info() const noexcept { return *info_; }
    // Null once the device went, or for an element made from a dictionary.
    IOHIDDeviceRef device() const;
    IOHIDElementRef parent() const;
    CFArrayRef children() const;
    // Set once by the device as it makes its list; `children` is retained.
    void link(IOHIDElementRef parent, CFArrayRef children);
    // The device goes: the element forgets it, its relatives and its value, which
    // may hold it.
    void orphan();

    // Takes over one reference to `value`, which GetValue hands out, and keeps it
    // until the next one or until the device goes.
    IOHIDValueRef keep_value(IOHIDValueRef value);

    // Get rule: the element keeps what it returns. Keys it was given come first;
    // the standard keys answer from the element.
    CFTypeRef property(CFStringRef key);
    void set_property(CFStringRef key, CFTypeRef value);

    void attach(IOHIDElementRef other);
    void detach(IOHIDElementRef other);
    CFArrayRef copy_attached() const;

    std::string description() const override;

private:
    CFTypeRef standard_property(std::string const& key) const;

    std::shared_ptr<hid_element_info const> info_;
    mutable std::mutex mutex_;
    IOHIDDeviceRef device_;
    IOHIDElementRef parent_ = nullptr;
    CFArrayRef children_ = nullptr;               // retained
    IOHIDValueRef value_ = nullptr;               // retained
    CFMutableDictionaryRef properties_ = nullptr; // retained, made on first use
    CFMutableArrayRef attached_ = nullptr;        // retained, made on first use
};

} // namespace plinth::sim::detail
