// The stream's report descriptor: the device's "ReportDescriptor" property, parsed once and kept.
#include "device/apple/hid_stream.hpp"

#include "error/apple/hid_errc.hpp"
#include "error/errc.hpp"
#include "property/value.hpp"

#include <boost/system/system_error.hpp>

#include <variant>

namespace plinth::apple {
namespace {

// What an error_code& caller gets back with its error: a descriptor of nothing.
hid_report_descriptor const& no_descriptor()
{
    static hid_report_descriptor const empty;
    return empty;
}

} // namespace

hid_report_descriptor const& hid_stream::get_report_descriptor() const
{
    boost::system::error_code ec;
    auto const& descriptor = get_report_descriptor(ec);
    if (ec)
        throw boost::system::system_error(ec, "get_report_descriptor");
    return descriptor;
}

hid_report_descriptor const& hid_stream::get_report_descriptor(boost::system::error_code& ec) const
{
    std::lock_guard const lock(report_descriptor_mutex);
    if (report_descriptor)
    {
        ec.clear();
        return *report_descriptor;
    }
    boost::system::error_code read_error;
    auto const property = device.get_property_value("ReportDescriptor", read_error);
    if (read_error)
    {
        // Absent, or no device to ask; any other failure of the read passes through.
        ec = read_error == make_error_code(plinth::errc::property_not_found)
                 ? make_error_code(hid_errc::property_missing)
                 : read_error;
        return no_descriptor();
    }
    auto const* bytes = std::get_if<property::data>(&property->content);
    if (!bytes)
    {
        ec = make_error_code(hid_errc::bad_report_descriptor);
        return no_descriptor();
    }
    auto parsed = hid_report_descriptor::parse(*bytes, ec);
    if (ec)
        return no_descriptor();
    return report_descriptor.emplace(std::move(parsed));
}

} // namespace plinth::apple
