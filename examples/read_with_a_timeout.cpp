// Waits at most half a second for each input report of the first HID device.
#include "device/apple/hid_stream.hpp"
#include "first_hid_device.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#endif

#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <vector>

int main()
{
    using namespace plinth::apple;
    device const first = first_hid_device();
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), first);
    if (!stream.is_open())
        return 1;

#if !defined(__APPLE__)
    plinth::sim::post_input_report(first.get_id(), 0, std::vector<std::uint8_t>{0x00, 0x00, 0x04});
#endif
    std::array<std::uint8_t, 64> bytes{};
    std::uint8_t report_id = 0;
    for (;;)
    {
        boost::system::error_code ec;
        auto const n = stream.read({&report_id, boost::asio::buffer(bytes)}, std::chrono::milliseconds(500), ec);
        if (ec == boost::asio::error::timed_out)
        {
            std::cout << "no report for half a second" << (stream.is_open() ? "; the stream stays open\n" : "\n");
            return 0;
        }
        if (ec)
            return 1;
        std::cout << "report " << int(report_id) << ": " << n << " bytes\n";
    }
}
