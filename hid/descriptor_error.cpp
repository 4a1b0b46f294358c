// hid_descriptor_error: the message that names the byte, the item and the fault.
#include "hid/descriptor_error.hpp"

#include "hid/item.hpp"

#include <fmt/format.h>

#include <utility>

namespace plinth::apple {

std::string hid_descriptor_problem::message() const
{
    return fmt::format("byte {}, item 0x{:02X} ({}): {}", offset, prefix, hid_item_name(prefix), problem);
}

hid_descriptor_error::hid_descriptor_error(hid_descriptor_problem problem)
    : boost::system::system_error(make_error_code(hid_errc::bad_report_descriptor), problem.message()),
      problem_(std::move(problem))
{
}

} // namespace plinth::apple
