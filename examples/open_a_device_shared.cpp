// Opens one HID device twice, shared, lists who has it open, and reads the same input report on both streams.
#include "device/apple/hid_device_client.hpp"
#include "device/apple/hid_stream.hpp"
#include "first_hid_device.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#endif

#include <boost/asio/io_context.hpp>

#include <array>
#include <cstdint>
#include <iostream>
#include <vector>

int main()
{
    using namespace plinth::apple;
    device const first = first_hid_device();
    boost::asio::io_context context;
    // Opened shared, both streams hear every report, as does any other program that
    // has the device open. Seized, the default, the second open would fail with
    // hid_errc::seized_by_another, as would any other program's.
    hid_stream one(context.get_executor(), first, hid_open_mode::shared);
    hid_stream other(context.get_executor(), first, hid_open_mode::shared);
    if (!one.is_open() || !other.is_open())
        return 1;

    // Each open is a client of the device in the registry, named by its process.
    for (auto const& client : hid_device_clients(first))
        std::cout << "open by " << client.describe() << (client.seizing.value_or(false) ? " (seized)\n" : "\n");

#if !defined(__APPLE__)
    plinth::sim::post_input_report(first.get_id(), 0, std::vector<std::uint8_t>{0x00, 0x00, 0x04});
#endif
    for (hid_stream* stream : {&one, &other})
    {
        std::array<std::uint8_t, 64> bytes{};
        std::uint8_t report_id = 0;
        auto const n = stream->read({&report_id, boost::asio::buffer(bytes)});
        std::cout << "report " << int(report_id) << ": " << n << " bytes\n";
    }
}
