// hid_descriptor_error: a malformed report descriptor, with the byte and the item at fault.
#pragma once

#include "error/apple/hid_errc.hpp"

#include <boost/system/system_error.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

namespace plinth::apple {

// Where a descriptor goes wrong: the byte offset of the item at fault, its prefix
// byte, and what is wrong with it.
struct hid_descriptor_problem
{
    std::size_t offset = 0;
    std::uint8_t prefix = 0;
    std::string problem;

    // "byte 12, item 0xB4 (Pop): Pop without a Push"
    std::string message() const;
};

// Thrown with hid_errc::bad_report_descriptor; what() begins with the problem's message.
class hid_descriptor_error : public boost::system::system_error
{
public:
    explicit hid_descriptor_error(hid_descriptor_problem problem);

    hid_descriptor_problem const& problem() const noexcept { return problem_; }

private:
    hid_descriptor_problem problem_;
};

} // namespace plinth::apple
