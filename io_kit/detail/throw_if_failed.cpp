// throw_if_failed: the one place the IOKit wrappers throw a failed return, in the IOReturn category.
#include "io_kit/detail/throw_if_failed.hpp"

#include "error/apple/io_return.hpp"

#include <boost/system/system_error.hpp>

namespace plinth::apple::io_kit::detail {

void throw_if_failed(kern_return_t result, char const* call)
{
    if (result != KERN_SUCCESS)
        throw boost::system::system_error(plinth::apple::make_error_code(result), call);
}

} // namespace plinth::apple::io_kit::detail
