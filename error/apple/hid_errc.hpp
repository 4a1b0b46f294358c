// hid_errc: a HID stream's failures that IOKit does not report, or reports too vaguely to act on.
#pragma once

#include <boost/system/error_code.hpp>

#include <type_traits>

namespace plinth::apple {

// Failures of a HID stream that IOKit does not report itself.
enum class hid_errc : int
{
    not_open = 1,                // the stream is not open
    property_missing = 2,        // the HID device lacks a property the stream needs
    bad_report_descriptor = 3,   // a report descriptor is malformed
    report_mismatch = 4,         // a report does not fit its descriptor (size or report ID)
    no_such_usage = 5,           // the descriptor defines no field for a usage
    input_monitoring_denied = 6, // the user has not let this program listen to keyboards, mice, touch pads
    seized_by_another = 7,       // another program (or stream) holds the device seized
    bad_recording = 8,           // a HID recording is malformed
};

boost::system::error_category const& hid_category() noexcept;

boost::system::error_code make_error_code(hid_errc e) noexcept;

} // namespace plinth::apple

template <>
struct boost::system::is_error_code_enum<plinth::apple::hid_errc> : std::true_type
{
};
