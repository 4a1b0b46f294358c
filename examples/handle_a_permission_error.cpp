// Opens a keyboard and, when the system refuses, says why: Input Monitoring not granted, or another program seized it.
#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "device/apple/hid_stream.hpp"
#include "device/apple/input_monitoring.hpp"
#include "error/apple/hid_errc.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"
#endif

#include <boost/asio/io_context.hpp>
#include <boost/system/error_code.hpp>

#include <iostream>

int main()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
    // Plays a user who has not let this program listen to keyboards.
    plinth::sim::set_hid_access(kIOHIDAccessTypeDenied);
#endif
    auto const keyboards = find_devices(device_match::hid_with_usage(0x01, 0x06)); // Keyboard
    if (keyboards.empty())
        return 1;
    boost::asio::io_context context;
    // The constructor opens the device, and only logs a refusal; open(ec) gives it.
    hid_stream stream(context.get_executor(), keyboards.front());
    boost::system::error_code ec;
    stream.open(ec);
    if (ec == hid_errc::input_monitoring_denied)
    {
        std::cout << "cannot read the keyboard: " << ec.message() << '\n';
        // The system asks the user once, blocking this thread until they answer;
        // after a refusal it only says no. A grant counts for streams made after it:
        // this one keeps the refusal it had.
        if (!request_input_monitoring_access())
            std::cout << "grant it in System Settings > Privacy & Security > Input Monitoring\n";
        return 1;
    }
    if (ec == hid_errc::seized_by_another)
    {
        auto const holder = stream.seizer();
        std::cout << "the keyboard is seized by " << (holder ? holder->describe() : "another program")
                  << "; it is free again once that program closes it\n";
        return 1;
    }
    if (ec)
    {
        std::cout << "cannot open the keyboard: " << ec.message() << '\n';
        return 1;
    }
    std::cout << "the keyboard is open\n";
}
