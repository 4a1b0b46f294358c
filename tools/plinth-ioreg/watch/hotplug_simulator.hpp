// watch --simulate-hotplug: a USB device of the bundled registry unplugged and plugged back, where the I/O Kit is simulated.
#pragma once

#if !defined(__APPLE__)

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <memory>

namespace plinth::ioreg_tool {

// Plays a USB device of the bundled registry being unplugged and plugged back
// in, once every `period`, through the simulated I/O Kit's control interface,
// until destroyed or cancelled. The registry must be the bundled one. Throws
// tool_error when it has no USB device to plug. Only where the I/O Kit is simulated.
class hotplug_simulator
{
public:
    hotplug_simulator(boost::asio::any_io_executor executor, std::chrono::milliseconds period);
    ~hotplug_simulator();
    hotplug_simulator(hotplug_simulator const&) = delete;
    hotplug_simulator& operator=(hotplug_simulator const&) = delete;

    // Stops the plugging; the device is left as it is.
    void cancel();

    // The registry entry ID of the device it plugs.
    std::uint64_t device_id() const noexcept;

    // The device's part of the registry, kept to plug it back in.
    struct device_part;

private:
    void schedule();
    void toggle();

    boost::asio::steady_timer timer_;
    std::chrono::milliseconds period_;
    std::unique_ptr<device_part> device_;
    bool plugged_ = true;
};

} // namespace plinth::ioreg_tool
#endif
