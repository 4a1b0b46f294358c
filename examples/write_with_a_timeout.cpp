// Sends an output report that the device never takes: a write with a timeout, then an async_write a timer cancels.
#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "device/apple/hid_stream.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"
#endif

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <iostream>

int main()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry(); // its Custom HID board is 0483:5750
#endif
    auto const boards = find_devices(device_match{"IOHIDDevice", 0x0483, 0x5750});
    if (boards.empty())
        return 1;
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), boards.front());
    if (!stream.is_open())
        return 1;
#if !defined(__APPLE__)
    // The board stops answering, as a Bluetooth device under load may.
    plinth::sim::stall_report_answers(boards.front().get_id());
#endif
    std::array<std::uint8_t, 64> const report{0x01};

    // Blocking, for at most 200 ms; without the timeout, write() would wait for ever.
    boost::system::error_code ec;
    stream.write({nullptr, boost::asio::buffer(report)}, std::chrono::milliseconds(200), ec);
    if (ec == boost::asio::error::timed_out)
        std::cout << "write: no answer within 200 ms\n";

    // Asynchronous: a timer cancels the write through its cancellation slot.
    boost::asio::steady_timer timer(context, std::chrono::milliseconds(200));
    boost::asio::cancellation_signal give_up;
    stream.async_write({nullptr, boost::asio::buffer(report)},
                       boost::asio::bind_cancellation_slot(
                           give_up.slot(), [&timer](boost::system::error_code const& error, std::size_t n) {
                               timer.cancel();
                               if (error == boost::asio::error::operation_aborted)
                                   std::cout << "async_write: given up after 200 ms\n";
                               else if (error)
                                   std::cout << "async_write: " << error.message() << '\n';
                               else
                                   std::cout << "async_write: " << n << " bytes sent\n";
                           }));
    timer.async_wait([&give_up](boost::system::error_code const& error) {
        if (!error)
            give_up.emit(boost::asio::cancellation_type::terminal);
    });
    context.run();
}
