// Opens each HID device as it arrives and closes it when it leaves, until Ctrl-C.
#include "device/apple/device_watcher.hpp"
#include "device/apple/hid_stream.hpp"

#if !defined(__APPLE__)
#include "sim/control/registry.hpp"

#include <algorithm>
#include <boost/asio/detached.hpp>
#endif

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <iostream>
#include <map>
#include <memory>

using namespace plinth::apple;
using open_streams = std::map<std::uint64_t, std::unique_ptr<hid_stream>>;

// Devices present at the start arrive first; the loop ends when the watcher is cancelled.
boost::asio::awaitable<void> open_as_they_arrive(device_watcher& watcher, open_streams& open)
{
    for (;;)
    {
        auto [error, event] = co_await watcher.async_wait(boost::asio::as_tuple(boost::asio::use_awaitable));
        if (error == boost::asio::error::operation_aborted)
            co_return;
        if (error)
        { // watch_errc::overflow: events were lost, watcher.dropped() of them
            std::cout << error.message() << '\n';
            continue;
        }
        auto const id = event.device.get_id();
        if (event.kind == device_event::kind_type::arrived)
        {
            auto stream = std::make_unique<hid_stream>(watcher.get_executor(), event.device); // opens (seizes) it
            if (stream->is_open())
            {
                std::cout << "opened " << event.device.get_name() << '\n';
                open.emplace(id, std::move(stream));
            }
        }
        else if (open.erase(id) != 0)
        { // destroying a stream closes it
            std::cout << "closed " << event.device.get_name() << '\n';
        }
    }
}

#if !defined(__APPLE__)
boost::asio::awaitable<void> wait_until(std::function<bool()> done)
{
    boost::asio::steady_timer pause(co_await boost::asio::this_coro::executor);
    while (!done())
    {
        pause.expires_after(std::chrono::milliseconds(10));
        co_await pause.async_wait(boost::asio::use_awaitable);
    }
}

// Plays a user who unplugs an open device of the simulated registry and plugs it back in.
boost::asio::awaitable<void> unplug_and_plug_back(device_watcher& watcher, open_streams const& open)
{
    co_await wait_until([&] { return !open.empty(); });
    auto const id = open.begin()->first;
    plinth::sim::remove_entry(id);
    co_await wait_until([&] { return !open.contains(id); });
    for (auto const& dump : plinth::sim::bundled_registry_dumps())
    {
        if (dump.plane != "IOService")
            continue;
        auto const entry = std::find_if(dump.entries.begin(), dump.entries.end(), [&](auto& e) { return e.id == id; });
        auto const link = std::find_if(dump.links.begin(), dump.links.end(), [&](auto& l) { return l.second == id; });
        plinth::sim::add_entry({entry->class_name, entry->name, entry->location, entry->properties, id}, link->first);
    }
    co_await wait_until([&] { return open.contains(id); });
    watcher.cancel();
}
#endif

int main()
{
#if !defined(__APPLE__)
    plinth::sim::load_bundled_registry();
#endif
    boost::asio::io_context context;
    device_watcher watcher(context.get_executor(), device_match{"IOHIDDevice"});
    open_streams open;
    boost::asio::signal_set signals(context, SIGINT, SIGTERM);
    signals.async_wait([&](boost::system::error_code, int) { watcher.cancel(); });
    boost::asio::co_spawn(context, open_as_they_arrive(watcher, open), [&](std::exception_ptr error) {
        signals.cancel();
        if (error)
            std::rethrow_exception(error);
    });
#if !defined(__APPLE__)
    boost::asio::co_spawn(context, unplug_and_plug_back(watcher, open), boost::asio::detached);
#endif
    context.run();
}
