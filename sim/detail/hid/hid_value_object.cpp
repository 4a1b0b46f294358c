// The IOHIDValueRef object: one element's value at one time.
#include "sim/detail/hid/hid_value_object.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"
#include "sim/detail/hid/hid_element_object.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace plinth::sim::detail {
namespace {

IOHIDElementRef retained(IOHIDElementRef element)
{
    return static_cast<IOHIDElementRef>(const_cast<void*>(CFRetain(element)));
}

double number_property(hid_element_object const& element, char const* key, double otherwise)
{
    CFStringRef const name = CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8);
    CFTypeRef const value = const_cast<hid_element_object&>(element).property(name);
    CFRelease(name);
    double result = otherwise;
    if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID())
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberDoubleType, &result);
    return result;
}

double rescale(double v, double min, double max, double scaled_min, double scaled_max)
{
    if (max == min)
        return scaled_min;
    return (v - min) * (scaled_max - scaled_min) / (max - min) + scaled_min;
}

} // namespace

hid_value_object::hid_value_object(IOHIDElementRef element, std::uint64_t timestamp, std::vector<std::uint8_t> bytes)
    : cf_object(class_type_id(), false),
      element_(retained(element)),
      timestamp_(timestamp),
      own_(std::move(bytes)),
      bytes_(own_.data()),
      length_(static_cast<CFIndex>(own_.size()))
{
}

hid_value_object::hid_value_object(IOHIDElementRef element, std::uint64_t timestamp, std::uint8_t const* bytes,
                                   CFIndex length)
    : cf_object(class_type_id(), false),
      element_(retained(element)),
      timestamp_(timestamp),
      bytes_(bytes),
      length_(length)
{
}

hid_value_object::hid_value_object(IOHIDElementRef element, std::uint64_t timestamp, CFIndex integer)
    : cf_object(class_type_id(), false), element_(retained(element)), timestamp_(timestamp), integer_(integer)
{
    auto const width = std::clamp<std::size_t>(element_object().info().byte_length(), 1, sizeof integer);
    own_.resize(width);
    auto const raw = static_cast<std::uint64_t>(integer);
    for (std::size_t i = 0; i < width; ++i)
        own_[i] = static_cast<std::uint8_t>(raw >> (8 * i));
    bytes_ = own_.data();
    length_ = static_cast<CFIndex>(own_.size());
}

hid_value_object::~hid_value_object()
{
    CFRelease(element_);
}

CFTypeID hid_value_object::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("IOHIDValue");
    return id;
}

hid_element_object const& hid_value_object::element_object() const noexcept
{
    return *static_cast<hid_element_object const*>(cf_object::from_ref(element_));
}

CFIndex hid_value_object::integer() const
{
    if (integer_)
        return *integer_;
    return hid_element_layout::integer(element_object().info(),
                                       {bytes_, static_cast<std::size_t>(std::max<CFIndex>(length_, 0))});
}

// Physical maps the logical range onto the physical one; Calibrated onto -1...1
// (or the element's CalibrationMin/Max), read over its CalibrationSaturationMin/Max
// when set, and held within; Exponent applies the unit exponent.
double hid_value_object::scaled(IOHIDValueScaleType type) const
{
    auto const& element = element_object();
    auto const& e = element.info();
    auto const v = static_cast<double>(integer());
    switch (type)
    {
    case kIOHIDValueScaleTypePhysical: return rescale(v, e.logical_min, e.logical_max, e.physical_min, e.physical_max);
    case kIOHIDValueScaleTypeCalibrated: {
        auto const min = number_property(element, kIOHIDElementCalibrationSaturationMinKey, e.logical_min);
        auto const max = number_property(element, kIOHIDElementCalibrationSaturationMaxKey, e.logical_max);
        auto const low = number_property(element, kIOHIDElementCalibrationMinKey, -1.0);
        auto const high = number_property(element, kIOHIDElementCalibrationMaxKey, 1.0);
        return std::clamp(rescale(v, min, max, low, high), std::min(low, high), std::max(low, high));
    }
    case kIOHIDValueScaleTypeExponent: return v * std::pow(10.0, e.unit_exponent);
    default: return v;
    }
}

std::string hid_value_object::description() const
{
    return fmt::format("{}{{element cookie = {}, length = {}, integer = {}, time stamp = {}}}", description_head(),
                       element_object().info().cookie, length_, integer(), timestamp_);
}

} // namespace plinth::sim::detail
