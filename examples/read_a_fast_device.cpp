// Reads a fast device through a read queue: every report kept as it comes, taken in batches, drops counted.
#include "device/apple/device_match.hpp"
#include "device/apple/find_devices.hpp"
#include "device/apple/hid_read_queue.hpp"
#include "device/apple/hid_report_batch.hpp"
#include "device/apple/hid_stream.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"
#endif

#include <boost/asio/io_context.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <thread>

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
    // Room for 256 reports, made now; a reader that falls further behind loses the
    // oldest, and learns how many.
    hid_stream stream(context.get_executor(), boards.front(), hid_open_mode::seized,
                      hid_read_queue{256, hid_queue_overflow::drop_oldest});
    if (!stream.is_open())
        return 1;
    constexpr std::uint64_t reports = 2000;
#if !defined(__APPLE__)
    // The board sends 2000 reports at 8 kHz, the fastest a USB device is polled.
    std::thread board([id = boards.front().get_id()] {
        std::array<std::uint8_t, 64> report{};
        auto tick = std::chrono::steady_clock::now();
        for (std::uint64_t n = 0; n < reports; ++n)
        {
            report[0] = static_cast<std::uint8_t>(n);
            plinth::sim::post_input_report(id, 0, report);
            std::this_thread::sleep_until(tick += std::chrono::microseconds(125));
        }
    });
#endif
    // Each read takes every report waiting, up to 64, in one call.
    hid_report_batch batch(64, 64);
    std::uint64_t read = 0;
    std::uint64_t batches = 0;
    while (read + stream.dropped_reports() < reports)
    {
        boost::system::error_code ec;
        read += stream.read_batch(batch, std::chrono::seconds(1), ec);
        if (ec)
        {
            // Timed out: the device's own queue dropped the rest, which only a
            // thread held off for long lets happen.
            std::cout << "read_batch: " << ec.message() << '\n';
            break;
        }
        ++batches;
    }
#if !defined(__APPLE__)
    board.join();
#endif
    std::cout << read << " reports read in " << batches << " batches, " << stream.dropped_reports() << " dropped\n";
    return read != 0 ? 0 : 1;
}
