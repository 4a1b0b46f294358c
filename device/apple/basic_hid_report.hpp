// basic_hid_report: a report-ID slot and a Boost.Asio buffer, the unit every HID read, write and request takes.
#pragma once

#include <boost/asio/buffer.hpp>

#include <cstdint>

namespace plinth::apple {

// One HID report: where its ID goes (a read stores the delivered report's ID
// there; write() ignores it; the get_/send_ requests read the ID to name there,
// 0 when null) and its bytes.
template <typename Buffer>
struct basic_hid_report
{
    std::uint8_t* report_id = nullptr;
    Buffer buffer;
};

using hid_read_report = basic_hid_report<boost::asio::mutable_buffer>;
using hid_write_report = basic_hid_report<boost::asio::const_buffer>;

} // namespace plinth::apple
