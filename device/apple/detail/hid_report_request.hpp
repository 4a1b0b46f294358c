// hid_report_request: what one report request (a write, a feature report sent or asked for) asks of IOKit.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDBase.h>

#include <boost/asio/buffer.hpp>

namespace plinth::apple::detail {

// One report request as the stream hands it to IOKit: the report's type and ID,
// and the bytes to send or the buffer to receive into.
struct hid_report_request
{
    IOHIDReportType type;
    CFIndex report_id;
    boost::asio::const_buffer send;
    boost::asio::mutable_buffer receive;
    bool get;
};

} // namespace plinth::apple::detail
