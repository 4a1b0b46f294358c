// The IOHIDValueRef object: one element's value at one time.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <IOKit/hid/IOHIDBase.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plinth::sim::detail {

class hid_element_object;

// What an IOHIDValueRef is: its element (retained), a time stamp, and the value's
// bytes, its own or (made without copy) the caller's.
class hid_value_object final : public cf_object
{
public:
    // Copies `bytes`.
    hid_value_object(IOHIDElementRef element, std::uint64_t timestamp, std::vector<std::uint8_t> bytes);
    // Points at the caller's bytes.
    hid_value_object(IOHIDElementRef element, std::uint64_t timestamp, std::uint8_t const* bytes, CFIndex length);
    // The integer itself, its bytes as wide as the element's value.
    hid_value_object(IOHIDElementRef element, std::uint64_t timestamp, CFIndex integer);
    ~hid_value_object() override;

    static CFTypeID class_type_id();

    IOHIDElementRef element() const noexcept { return element_; }
    hid_element_object const& element_object() const noexcept;
    std::uint64_t timestamp() const noexcept { return timestamp_; }
    CFIndex length() const noexcept { return length_; }
    std::uint8_t const* bytes() const noexcept { return bytes_; }
    CFIndex integer() const;
    double scaled(IOHIDValueScaleType type) const;

    std::string description() const override;

private:
    IOHIDElementRef element_;
    std::uint64_t timestamp_;
    std::vector<std::uint8_t> own_;
    std::uint8_t const* bytes_;
    CFIndex length_;
    std::optional<CFIndex> integer_;
};

} // namespace plinth::sim::detail
