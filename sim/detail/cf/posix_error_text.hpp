// The texts a Mac gives errno values, for errors in the POSIX domain.
#pragma once

#include <CoreFoundation/CFBase.h>

namespace plinth::sim::detail {

// strerror's text on a Mac for an errno value of a Mac ("No such file or
// directory" for 2); nullptr for a value it has no text for here. The host's own
// strerror will not do: past the first few, Linux numbers errno values differently
// (11 is EDEADLK on a Mac, EAGAIN on Linux) and words some of them otherwise.
char const* posix_error_text(CFIndex code) noexcept;

} // namespace plinth::sim::detail
