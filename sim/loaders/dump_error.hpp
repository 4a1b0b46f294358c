// The error every loader throws for a dump that cannot be read, its message naming the line or element at fault.
#pragma once

#include <stdexcept>

namespace plinth::sim::detail {

// Re-exported by the control interface as plinth::sim::dump_error.
class dump_error : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace plinth::sim::detail
