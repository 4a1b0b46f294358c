// hid_errc: the "plinth.hid" error category and its messages.
#include "error/apple/hid_errc.hpp"

#include <string>

namespace plinth::apple {
namespace {

class hid_error_category final : public boost::system::error_category
{
public:
    char const* name() const noexcept override { return "plinth.hid"; }

    std::string message(int value) const override
    {
        switch (static_cast<hid_errc>(value))
        {
        case hid_errc::not_open: return "HID stream is not open";
        case hid_errc::property_missing: return "HID device property is missing";
        case hid_errc::bad_report_descriptor: return "HID report descriptor is malformed";
        case hid_errc::report_mismatch: return "HID report does not match its descriptor";
        case hid_errc::no_such_usage: return "HID report descriptor has no field for the usage";
        case hid_errc::input_monitoring_denied:
            return "not permitted: this program lacks the Input Monitoring permission";
        case hid_errc::seized_by_another: return "exclusive access: another program has seized the device";
        case hid_errc::bad_recording: return "HID recording is malformed";
        }
        return "unknown HID error " + std::to_string(value);
    }
};

} // namespace

boost::system::error_category const& hid_category() noexcept
{
    static hid_error_category const category;
    return category;
}

boost::system::error_code make_error_code(hid_errc e) noexcept
{
    return {static_cast<int>(e), hid_category()};
}

} // namespace plinth::apple
