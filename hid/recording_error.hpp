// hid_recording_error: a malformed HID recording, with the line at fault.
#pragma once

#include "error/apple/hid_errc.hpp"

#include <boost/system/system_error.hpp>

#include <cstddef>
#include <string>

namespace plinth::apple {

// Thrown with hid_errc::bad_recording; what() begins with "line N: " and says
// what is wrong there.
class hid_recording_error : public boost::system::system_error
{
public:
    hid_recording_error(std::size_t line, std::string const& problem);

    // The line at fault, counted from 1.
    std::size_t line() const noexcept { return line_; }
    // What is wrong there, without the line.
    std::string const& problem() const noexcept { return problem_; }

private:
    std::size_t line_;
    std::string problem_;
};

} // namespace plinth::apple
