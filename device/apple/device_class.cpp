// device_class: the table of IOKit class names, and IOServiceMatching of one of them.
#include "device/apple/device_class.hpp"

#include "device/apple/abort_enum_out_of_range.hpp"
#include "io_kit/io_service.hpp"

#include <array>
#include <string>
#include <string_view>

namespace plinth::apple {
namespace {

// The names with their lengths, so that a std::string is made without measuring.
constexpr std::array<std::string_view, 6> class_names = {
    "IOSerialBSDClient", "AppleUSBDevice", "IOVideoDevice", "IOAudioControl", "IOHIDDevice", "IOUSBHostDevice",
};

std::string_view class_name(device::device_class c) noexcept
{
    if (!enum_in_range(c, class_names.size()))
        abort_enum_out_of_range(c);
    return class_names[static_cast<std::size_t>(c)];
}

} // namespace

char const* to_string(device::device_class c) noexcept
{
    return class_name(c).data();
}

CF::Dictionary make_matching(device::device_class c)
{
    auto const name = class_name(c);
    return io_kit::io_service::matching(std::string(name.data(), name.size()));
}

} // namespace plinth::apple
