// io_return: the error category of IOKit's IOReturn and Mach's kern_return_t values.
#pragma once

#include <boost/system/error_code.hpp>

namespace plinth::apple {

// The category of IOKit's IOReturn and Mach's kern_return_t values.
boost::system::error_category const& io_return_category() noexcept;

// A code for an IOReturn / kern_return_t value; 0 (kIOReturnSuccess) is success.
boost::system::error_code make_error_code(int io_return) noexcept;

} // namespace plinth::apple
