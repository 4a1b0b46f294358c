// Finds a HID device by its vendor and product IDs, opens it and reads one input report.
#include "device/apple/device_class.hpp"
#include "device/apple/device_match.hpp"
#include "device/apple/hid_stream.hpp"
#include "device/apple/tree.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"
#endif

#include <boost/asio/io_context.hpp>

#include <array>
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

int main()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry(); // its Custom HID board is 0483:5750
#endif
    // The HID devices, as IOKit matches their class; the board is the one with its IDs.
    tree registry(io_kit::mach_port::master_port_default());
    auto hid_devices =
        registry.next_layer().io_service_get_matching_services(make_matching(device::device_class::hid_device));
    device_match const wanted{"IOHIDDevice", 0x0483, 0x5750}; // "VendorID" and "ProductID"
    device board;
    while (auto object = hid_devices.next())
        if (device d{io_kit::io_registry_entry(std::move(object))}; wanted.accepts(d))
            board = d;
    if (!board)
        return 1; // no such board plugged in

    // The stream opens (seizes) the device; callbacks come on a run-loop thread of
    // the context's HID service.
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), board);
    if (!stream.is_open())
        return 1;
    std::cout << mpark::get<std::string>(board.get_property("Product")) << ": usage page "
              << stream.get_device_usage_page() << ", usage " << stream.get_device_usage() << '\n';

#if !defined(__APPLE__)
    // The simulated board sends its input report 1 (ID first), as the real one would when it has news.
    plinth::sim::post_input_report(board.get_id(), 1, std::vector<std::uint8_t>{0x01, 0x02, 0x03});
#endif
    std::array<std::uint8_t, 64> bytes{};
    std::uint8_t report_id = 0;
    auto const n = stream.read({&report_id, boost::asio::buffer(bytes)}); // blocks until a report comes
    std::cout << "report " << int(report_id) << ": " << n << " bytes\n";
}
