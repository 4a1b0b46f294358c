// Reads five input reports with completion handlers, each handler starting the next read.
#include "device/apple/hid_stream.hpp"
#include "first_hid_device.hpp"

#if !defined(__APPLE__)
#include "sim/control/hid.hpp"
#endif

#include <boost/asio/io_context.hpp>
#include <boost/system/error_code.hpp>

#include <array>
#include <cstdint>
#include <iostream>
#include <vector>

class report_printer
{
public:
    report_printer(plinth::apple::hid_stream& stream, int count) : stream_(stream), remaining_(count) {}

    void start()
    {
        stream_.async_read({&report_id_, boost::asio::buffer(bytes_)},
                           [this](boost::system::error_code ec, std::size_t n) { on_report(ec, n); });
    }

private:
    void on_report(boost::system::error_code ec, std::size_t n)
    {
        if (ec)
        {
            std::cout << "reading ended: " << ec.message() << '\n';
            return;
        }
        std::cout << "report " << int(report_id_) << ": " << n << " bytes, first " << int(bytes_[0]) << '\n';
        if (--remaining_ > 0)
            start();
    }

    plinth::apple::hid_stream& stream_;
    int remaining_;
    std::array<std::uint8_t, 64> bytes_{};
    std::uint8_t report_id_ = 0;
};

int main()
{
    using namespace plinth::apple;
    device const first = first_hid_device();
    boost::asio::io_context context;
    hid_stream stream(context.get_executor(), first);
    if (!stream.is_open())
        return 1;

    report_printer printer(stream, 5);
    printer.start();
#if !defined(__APPLE__)
    for (std::uint8_t i = 1; i <= 5; ++i)
        plinth::sim::post_input_report(first.get_id(), 0, std::vector<std::uint8_t>{i, 0x00, 0x00});
#endif
    context.run(); // returns once the last handler has started no new read
}
