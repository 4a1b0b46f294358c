// Prints each HID device of one vendor and product as it arrives and leaves, until Ctrl-C.
#include "device/apple/device_watcher.hpp"

#if !defined(__APPLE__)
#include "sim/control/registry.hpp"
#endif

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <exception>
#include <iostream>

using namespace plinth::apple;

boost::asio::awaitable<void> print_events(device_watcher& watcher)
{
    for (;;) {
        auto const event = co_await watcher.async_wait(boost::asio::use_awaitable);
        bool const arrived = event.kind == device_event::kind_type::arrived;
        std::cout << (arrived ? "arrived: " : "left: ") << event.device.get_name() << ' ' << std::hex
                  << std::showbase << event.device.get_id() << (event.present_at_start ? " (present at start)" : "")
                  << '\n';
#if !defined(__APPLE__)
        // The simulated board is unplugged once seen; the program ends when it has left.
        if (!arrived)
            co_return;
        plinth::sim::remove_entry(event.device.get_id());
#endif
    }
}

int main()
{
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
#endif
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOHIDDevice", 0x0483, 0x5750});
    boost::asio::co_spawn(context, print_events(watcher), [](std::exception_ptr error) {
        if (error)
            std::rethrow_exception(error);
    });
    context.run();
}
