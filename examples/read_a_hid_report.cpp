// Opens the first HID device and reads one input report from it.
#include "device/apple/hid_stream.hpp"
#include "first_hid_device.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#endif

#include <boost/asio/io_context.hpp>

#include <array>
#include <cstdint>
#include <iostream>
#include <vector>

int main()
{
    using namespace plinth::apple;
    device const first = first_hid_device();

    // The stream opens (seizes) the device; callbacks come on a run-loop thread of
    // the context's HID service.
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), first);
    if (!stream.is_open())
        return 1;
    std::cout << first.get_name() << ": usage page " << stream.get_device_usage_page() << ", usage "
              << stream.get_device_usage() << '\n';

#if !defined(__APPLE__)
    // The simulated device sends a report, as a key press would on a real one.
    plinth::sim::post_input_report(first.get_id(), 0, std::vector<std::uint8_t>{0x00, 0x00, 0x04});
#endif
    std::array<std::uint8_t, 64> bytes{};
    std::uint8_t report_id = 0;
    auto const n = stream.read({&report_id, boost::asio::buffer(bytes)}); // blocks until a report comes
    std::cout << "report " << int(report_id) << ": " << n << " bytes\n";
}
