// hid_recording_error: the message that names the line and the fault.
#include "hid/recording_error.hpp"

#include <fmt/format.h>

namespace plinth::apple {

hid_recording_error::hid_recording_error(std::size_t line, std::string const& problem)
    : boost::system::system_error(make_error_code(hid_errc::bad_recording), fmt::format("line {}: {}", line, problem)),
      line_(line),
      problem_(problem)
{
}

} // namespace plinth::apple
