// Finds a gamepad by its usage, reads one input report and prints its buttons, hat switch and axes by usage.
#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "device/apple/hid_stream.hpp"
#include "hid/usage_names.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"
#endif

#include <boost/asio/io_context.hpp>

#include <cstdint>
#include <iostream>
#include <span>
#include <vector>

int main()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry(); // it has a USB gamepad
#endif
    // Every HID device whose usage is Generic Desktop / Game Pad, whatever its make.
    auto const gamepads = find_devices(device_match::hid_with_usage(0x01, 0x05));
    if (gamepads.empty())
        return 1; // no gamepad plugged in
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), gamepads.front());
    if (!stream.is_open())
        return 1;
    // Parsed from the device's "ReportDescriptor" once, and kept by the stream.
    auto const& descriptor = stream.get_report_descriptor();

#if !defined(__APPLE__)
    // The simulated gamepad sends a report built by usage: button 2 held, the stick
    // pushed left, the hat switch at rest (its null state: a value outside 0..7).
    auto sent = descriptor.make_report(hid_report_type::input, 0);
    descriptor.set(hid_report_type::input, {0x09, 0x02}, 1, sent);   // Button 2
    descriptor.set(hid_report_type::input, {0x01, 0x30}, 0, sent);   // X
    descriptor.set(hid_report_type::input, {0x01, 0x31}, 128, sent); // Y
    descriptor.set(hid_report_type::input, {0x01, 0x39}, 8, sent);   // Hat Switch
    plinth::sim::post_input_report(gamepads.front().get_id(), 0, sent);
#endif
    std::vector<std::uint8_t> bytes(descriptor.max_report_size(hid_report_type::input));
    std::uint8_t report_id = 0;
    auto const n = stream.read({&report_id, boost::asio::buffer(bytes)});
    std::span<std::uint8_t const> const report(bytes.data(), n);

    // One usage, looked up in the descriptor's index.
    if (auto const x = descriptor.value(hid_report_type::input, {0x01, 0x30}, report))
        std::cout << "X = " << *x << '\n';
    // Every usage of the report; a vector kept from one report to the next makes
    // decoding allocate nothing.
    std::vector<hid_value> values;
    descriptor.decode(hid_report_type::input, report_id, report, values);
    for (auto const& value : values)
    {
        std::cout << hid_usage_label(value.usage) << " = ";
        if (value.in_range)
            std::cout << value.logical << '\n';
        else
            std::cout << "none\n"; // the null state: the hat switch at rest
    }
}
