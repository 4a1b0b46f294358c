// share: a reference of its own to a borrowed CF object (Get rule), empty for null.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"

#include <CoreFoundation/CoreFoundation.h>

namespace plinth::apple::io_kit::detail {

// A reference of its own to `object`, which the caller only borrows (CF's Get
// rule: values read out of collections, constants); empty for null, which
// CFRetain would crash on.
CF::AutoPointer share(CFTypeRef object) noexcept;

} // namespace plinth::apple::io_kit::detail
