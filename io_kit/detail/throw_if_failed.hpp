// throw_if_failed: turns a failed IOKit return into system_error naming the IOKit call.
#pragma once

#include <IOKit/IOKitLib.h>

namespace plinth::apple::io_kit::detail {

// Throws boost::system::system_error carrying `result` as an IOKit return code and
// `call` (the IOKit function that returned it) as its text, unless `result` is
// success. Every fallible wrapper goes through here, so that all of them report
// failures the same way.
void throw_if_failed(kern_return_t result, char const* call);

} // namespace plinth::apple::io_kit::detail
