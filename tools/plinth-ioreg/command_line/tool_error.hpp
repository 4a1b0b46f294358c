// The error for what the user can correct: one line on standard error, exit status 1.
#pragma once

#include <stdexcept>

namespace plinth::ioreg_tool {

// A failure the user can act on (an unknown plane, path or ID, a dump that cannot
// be read): the program prints its text as one line on standard error and exits 1.
class tool_error : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace plinth::ioreg_tool
