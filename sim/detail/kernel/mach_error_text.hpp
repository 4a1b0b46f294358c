// The texts a Mac gives Mach error values: kern_return_t, Mach message and IOReturn codes.
#pragma once

#include <mach/error.h>

namespace plinth::sim::detail {

// "(os/kern) invalid argument", "(iokit/common) not permitted", ...; nullptr for a
// value with no known text.
char const* mach_error_text(mach_error_t value) noexcept;

// The value's error system and subsystem, as "(os/kern)"; nullptr when unknown.
char const* mach_error_subsystem(mach_error_t value) noexcept;

} // namespace plinth::sim::detail
