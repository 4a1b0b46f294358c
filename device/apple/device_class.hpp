// device_class: the IOKit class names of device::device_class and matching dictionaries for them.
#pragma once

#include "device/apple/device.hpp"
#include "io_kit/cf/dictionary.hpp"

namespace plinth::apple {

// IOKit's matching dictionary for every service of class `c` (IOServiceMatching of
// the class name). Terminates the process for a value outside the enumeration.
CF::Dictionary make_matching(device::device_class c);

// The IOKit class name of `c`; the string lives for the whole program.
char const* to_string(device::device_class c) noexcept;

} // namespace plinth::apple
