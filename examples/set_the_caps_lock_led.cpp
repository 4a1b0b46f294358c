// Lights a keyboard's Caps Lock LED: its output report built by usage, the other LEDs left off.
#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "device/apple/hid_stream.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"
#endif

#include <boost/asio/io_context.hpp>

#include <cstdint>
#include <iostream>

int main()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry(); // it has a Bluetooth and a USB keyboard
#endif
    auto const keyboards = find_devices(device_match::hid_with_usage(0x01, 0x06)); // Keyboard
    if (keyboards.empty())
        return 1;
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), keyboards.front());
    if (!stream.is_open())
        return 1;
    auto const& descriptor = stream.get_report_descriptor();

    // The LED page's Caps Lock, in whichever output report and bit this keyboard has it.
    auto const caps_lock = descriptor.find(hid_report_type::output, {0x08, 0x02});
    if (!caps_lock)
        return 1; // a keyboard without a Caps Lock LED
    std::uint8_t report_id = descriptor.fields()[caps_lock->field].report_id;
    auto report = descriptor.make_report(hid_report_type::output, report_id);
    descriptor.write(*caps_lock, 1, report); // that one bit; the rest stays as made (off)
    stream.send_output_report({&report_id, boost::asio::buffer(report)});

#if !defined(__APPLE__)
    // What the simulated keyboard received.
    for (auto const& sent : plinth::sim::output_reports(keyboards.front().get_id()))
        std::cout << "report " << sent.report_id << ", " << sent.bytes.size() << " bytes, last 0x" << std::hex
                  << int(sent.bytes.back()) << std::dec << '\n';
#endif
}
