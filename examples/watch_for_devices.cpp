// Prints each HID device of one vendor and product as it arrives and leaves, until Ctrl-C.
#include "device/apple/device_watcher.hpp"

#if !defined(__APPLE__)
#include "sim/control/registry.hpp"
#endif

#include <boost/asio/io_context.hpp>

#include <functional>
#include <iostream>

int main()
{
    using namespace plinth::apple;
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
#endif
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOHIDDevice", 0x0483, 0x5750});
    std::function<void(boost::system::error_code, device_event)> on_event = [&](auto error, device_event event) {
        if (error) // watch_errc::overflow: watcher.dropped() events were lost
            std::cout << error.message() << '\n';
        else
        {
            bool const arrived = event.kind == device_event::kind_type::arrived;
            std::cout << (arrived ? "arrived: " : "left: ") << event.device.get_name() << ' ' << std::hex
                      << std::showbase << event.device.get_id()
                      << (event.present_at_start ? " (already there)\n" : "\n");
#if !defined(__APPLE__)
            // Unplugs the simulated board once it has arrived; once it has left, the program ends.
            if (!arrived)
                return;
            plinth::sim::remove_entry(event.device.get_id());
#endif
        }
        watcher.async_wait(on_event);
    };
    watcher.async_wait(on_event);
    context.run();
}
