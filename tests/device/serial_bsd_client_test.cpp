// Tests of serial_bsd_client: wrong port names, other classes accepted, values converted between kinds.
#include "device/apple/serial_bsd_client.hpp"
#include "device/apple/usb_device.hpp"
#include "error/errc.hpp"
#include "device/device_support.hpp"
#include "support/sim_test.hpp"
#include "support/system_error.hpp"

namespace {

using plinth::plane;
using plinth::apple::device;
using plinth::apple::serial_bsd_client;
using plinth::apple::usb_device;
namespace sim = plinth::sim;

using plinth::testing::find_device;

// A USB serial adapter: the port's BSD client sits two levels below the USB device.
class serial_bsd_client_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        adapter_ = sim::add_entry(
            {"IOUSBHostDevice", "FT232R USB UART", "14200000", {{"USB Product Name", std::string("FT232R USB UART")}}},
            sim::root_entry_id);
        auto const driver = sim::add_entry({"AppleUSBFTDI", "AppleUSBFTDI"}, adapter_);
        port_ = sim::add_entry({"IOSerialBSDClient",
                                "IOSerialBSDClient",
                                {},
                                {
                                    {"IOTTYBaseName", std::string("usbserial-")},
                                    {"IOTTYSuffix", std::string("A50285BI")},
                                    {"IOTTYDevice", std::string("usbserial-A50285BI")},
                                    {"IOSerialBSDClientType", std::string("IORS232SerialStream")},
                                    {"IOCalloutDevice", std::string("/dev/cu.usbserial-A50285BI")},
                                    {"IODialinDevice", std::string("/dev/tty.usbserial-A50285BI")},
                                }},
                               driver);
    }

    sim::entry_id adapter_ = 0;
    sim::entry_id port_ = 0;
};

TEST_F(serial_bsd_client_test, reads_the_port_names_and_finds_its_usb_adapter_above)
{
    serial_bsd_client const port(find_device(port_));
    ASSERT_TRUE(port);
    EXPECT_EQ(port.get_tty_base_name(), "usbserial-");
    EXPECT_EQ(port.get_tty_suffix(), "A50285BI");
    EXPECT_EQ(port.get_tty_device(), "usbserial-A50285BI");
    EXPECT_EQ(port.get_type(), "IORS232SerialStream");
    EXPECT_EQ(port.get_callout_device(), "/dev/cu.usbserial-A50285BI");
    EXPECT_EQ(port.get_dialin_device(), "/dev/tty.usbserial-A50285BI");

    device up = port.get_parent(plane::service);
    while (up && !usb_device(up))
        up = up.get_parent(plane::service);
    EXPECT_EQ(usb_device(up).get_product(), "FT232R USB UART");
}

TEST_F(serial_bsd_client_test, other_kinds_are_null_and_values_are_never_converted)
{
    serial_bsd_client const not_serial(find_device(adapter_));
    EXPECT_FALSE(not_serial);
    auto const error = plinth::testing::system_error_of([&] { (void)not_serial.get_callout_device(); });
    EXPECT_EQ(error.code(), plinth::make_error_code(plinth::errc::property_not_found));

    sim::set_property(port_, "IOCalloutDevice", sim::data{'/', 'd'});
    EXPECT_THROW((void)serial_bsd_client(find_device(port_)).get_callout_device(), mpark::bad_variant_access);
    sim::remove_property(port_, "IODialinDevice");
    EXPECT_THROW((void)serial_bsd_client(find_device(port_)).get_dialin_device(), boost::system::system_error);
}

} // namespace
