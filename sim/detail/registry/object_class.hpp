// The class IOKit reports for an object a task holds, with or without an entry's class-name override.
#pragma once

#include "sim/detail/kernel/kernel_object.hpp"

#include <string>
#include <string_view>

namespace plinth::sim::detail {

// Whether an entry's "IOClassNameOverride" property stands in for its real class.
// The public calls apply it; the framework's undeclared variants can ignore it, as
// the registry browser does to show an Intel USB device as the AppleUSBDevice it is.
enum class class_name_override
{
    apply,
    ignore,
};

// The class IOObjectGetClass and IOObjectCopyClass report. An entry's is read
// under the registry's lock.
std::string reported_class(kernel_object const& object, class_name_override override);

// Whether the object is `wanted` or derives from it, as IOObjectConformsTo answers:
// the real class's chain counts either way, and an applied override also when it
// names `wanted`.
bool conforms_to(kernel_object const& object, std::string_view wanted, class_name_override override);

} // namespace plinth::sim::detail
