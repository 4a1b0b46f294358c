// Asks the first HID device for its feature and input reports 1, and sends the feature report back.
#include "device/apple/hid_stream.hpp"
#include "first_hid_device.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#endif

#include <boost/asio/io_context.hpp>
#include <boost/system/error_code.hpp>

#include <array>
#include <cstdint>
#include <iomanip>
#include <iostream>
#include <span>
#include <string>
#include <vector>

// "what: 01 20 03", or why the device would not answer.
void print(char const* what, std::span<std::uint8_t const> bytes, boost::system::error_code const& ec)
{
    std::cout << what << ':';
    if (ec)
        std::cout << ' ' << ec.message();
    for (auto const byte : bytes)
        std::cout << ' ' << std::hex << std::setw(2) << std::setfill('0') << int(byte);
    std::cout << std::dec << '\n';
}

int main()
{
    using namespace plinth::apple;
    device const first = first_hid_device();

#if !defined(__APPLE__)
    // The simulated device's side: what it answers for feature report 1 and input
    // report 1 (a device that numbers its reports puts the ID in byte 0).
    plinth::sim::set_feature_report(first.get_id(), 1, std::vector<std::uint8_t>{0x01, 0x20, 0x03});
    plinth::sim::set_input_report(first.get_id(), 1, std::vector<std::uint8_t>{0x01, 0x00, 0x04});
#endif

    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), first);
    if (!stream.is_open())
        return 1;

    // Requests are synchronous and name the report ID; the error_code& forms let a
    // device without such a report answer with IOKit's error instead of a throw.
    std::uint8_t id = 1;
    std::array<std::uint8_t, 64> feature{};
    boost::system::error_code ec;
    auto const n = stream.get_feature_report({&id, boost::asio::buffer(feature)}, ec);
    print("feature report 1", std::span(feature).first(n), ec);
    if (!ec)
    {
        // Sent back as it came: a feature send is a request to the device, which
        // decides what it means.
        stream.send_feature_report({&id, boost::asio::buffer(feature.data(), n)}, ec);
        std::cout << "sent it back: " << (ec ? ec.message() : "done") << '\n';
    }

    std::array<std::uint8_t, 64> input{};
    ec.clear();
    auto const m = stream.get_input_report({&id, boost::asio::buffer(input)}, ec);
    print("input report 1", std::span(input).first(m), ec);

#if !defined(__APPLE__)
    // What the simulated device received, with its type (2: feature) and ID.
    for (auto const& report : plinth::sim::output_reports(first.get_id()))
        print(("device got type " + std::to_string(report.type) + ", ID " + std::to_string(report.report_id)).c_str(),
              report.bytes, {});
#endif
}
