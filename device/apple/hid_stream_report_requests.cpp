// The requests by report ID: synchronous, on the caller's thread, straight to
// IOKit. They need no pending read and leave one alone.
#include "device/apple/hid_stream.hpp"

#include "device/apple/detail/hid_stream_operation.hpp"

#include <IOKit/hid/IOHIDBase.h>

namespace plinth::apple {
namespace {

// The ID a request names: 0, that of a device which numbers no reports, when the
// caller names none.
CFIndex requested_id(std::uint8_t const* report_id)
{
    return report_id == nullptr ? 0 : *report_id;
}

// Asks `device` for its report of `type` named by r.report_id, into r.buffer;
// `operation` names the error of a stream that is not `open`.
std::size_t get_report(io_kit::io_hid_device const& device, bool open, char const* operation, IOHIDReportType type,
                       basic_hid_report<boost::asio::mutable_buffer> r)
{
    detail::throw_unless_open(open, operation);
    return device.get_report(type, requested_id(r.report_id), detail::bytes_of(r.buffer));
}

// Sends r.buffer to `device` as its report of `type` named by r.report_id.
std::size_t set_report(io_kit::io_hid_device const& device, bool open, char const* operation, IOHIDReportType type,
                       basic_hid_report<boost::asio::const_buffer> r)
{
    detail::throw_unless_open(open, operation);
    device.set_report(type, requested_id(r.report_id), detail::bytes_of(r.buffer));
    return r.buffer.size();
}

} // namespace

std::size_t hid_stream::get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r)
{
    return get_report(hid_device, is_open(), "get_feature_report", kIOHIDReportTypeFeature, r);
}

std::size_t hid_stream::get_feature_report(basic_hid_report<boost::asio::mutable_buffer> r,
                                           boost::system::error_code& ec)
{
    return detail::or_error_code([&] { return get_feature_report(r); }, ec);
}

std::size_t hid_stream::send_feature_report(basic_hid_report<boost::asio::const_buffer> r)
{
    return set_report(hid_device, is_open(), "send_feature_report", kIOHIDReportTypeFeature, r);
}

std::size_t hid_stream::send_feature_report(basic_hid_report<boost::asio::const_buffer> r,
                                            boost::system::error_code& ec)
{
    return detail::or_error_code([&] { return send_feature_report(r); }, ec);
}

std::size_t hid_stream::get_input_report(basic_hid_report<boost::asio::mutable_buffer> r)
{
    return get_report(hid_device, is_open(), "get_input_report", kIOHIDReportTypeInput, r);
}

std::size_t hid_stream::get_input_report(basic_hid_report<boost::asio::mutable_buffer> r, boost::system::error_code& ec)
{
    return detail::or_error_code([&] { return get_input_report(r); }, ec);
}

std::size_t hid_stream::send_output_report(basic_hid_report<boost::asio::const_buffer> r)
{
    return set_report(hid_device, is_open(), "send_output_report", kIOHIDReportTypeOutput, r);
}

std::size_t hid_stream::send_output_report(basic_hid_report<boost::asio::const_buffer> r, boost::system::error_code& ec)
{
    return detail::or_error_code([&] { return send_output_report(r); }, ec);
}

} // namespace plinth::apple
