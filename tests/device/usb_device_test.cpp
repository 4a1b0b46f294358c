// Tests of usb_device: other classes accepted, substituted values, wrong port-number fallbacks, filter mistakes.
#include "device/apple/usb_device.hpp"
#include "error/errc.hpp"
#include "device/device_support.hpp"
#include "support/sim_test.hpp"
#include "support/system_error.hpp"

#include <array>
#include <string>
#include <system_error>
#include <vector>

namespace {

using plinth::plane;
using plinth::apple::device;
using plinth::apple::filter_usb_device;
using plinth::apple::usb_device;
namespace sim = plinth::sim;

using plinth::testing::find_device;

sim::dictionary usb_properties(std::int64_t location, sim::dictionary extra = {})
{
    sim::dictionary properties{{"locationID", sim::make_number(location)}};
    for (auto& p : extra)
        properties.push_back(std::move(p));
    return properties;
}

// Platform → XHCI controller → hub → two devices; the controller, the hub and the
// devices are also linked in the IOUSB plane, as the host USB stack links them.
class usb_device_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        platform_ = sim::add_entry({"IOPlatformExpertDevice", "Macmini8,1"}, sim::root_entry_id);
        controller_ = sim::add_entry({"AppleUSBXHCI", "XHC1", "14000000"}, platform_);
        sim::attach(controller_, sim::root_entry_id, "IOUSB");
        hub_ = add_usb({"IOUSBHostDevice", "USB2.0 Hub", "14100000", usb_properties(0x14100000)}, controller_);
        keyboard_ = add_usb({"IOUSBHostDevice", "Keyboard", "14110000",
                             usb_properties(0x14110000,
                                            {
                                                {"USB Address", sim::make_number(3)},
                                                {"USB Vendor Name", std::string("Apple Inc.")},
                                                {"USB Product Name", std::string("Magic Keyboard")},
                                                {"bDeviceClass", sim::make_number(0)},
                                                {"bDeviceSubClass", sim::make_number(1)},
                                                {"bDeviceProtocol", sim::make_number(2)},
                                                {"bMaxPacketSize0", sim::make_number(64)},
                                                {"idVendor", sim::make_number(0x05ac)},
                                                {"idProduct", sim::make_number(0x029c)},
                                                {"bcdDevice", sim::make_number(0x12345)},
                                                {"iManufacturer", sim::make_number(4)},
                                                {"iProduct", sim::make_number(5)},
                                                {"iSerialNumber", sim::make_number(6)},
                                                {"bNumConfigurations", sim::make_number(1)},
                                            })},
                            hub_);
    }

    sim::entry_id add_usb(sim::entry_spec const& entry, sim::entry_id parent)
    {
        auto const id = sim::add_entry(entry, parent);
        sim::attach(id, parent, "IOUSB");
        return id;
    }

    // An entry whose IOService parents carry the given "port" values, in order.
    usb_device with_ports(std::vector<sim::data> const& ports, sim::dictionary own = {})
    {
        std::vector<sim::entry_id> parents;
        for (std::size_t i = 0; i < ports.size(); ++i)
            parents.push_back(
                sim::add_entry({"AppleUSB20HubPort", "port" + std::to_string(i), {}, {{"port", ports[i]}}}, platform_));
        // Without a parent in IOService the device hangs in another plane only.
        auto const id =
            parents.empty()
                ? sim::add_entry({"IOUSBHostDevice", "Device", {}, std::move(own)}, platform_, "IODeviceTree")
                : sim::add_entry({"IOUSBHostDevice", "Device", {}, std::move(own)}, parents.front());
        for (std::size_t i = 1; i < parents.size(); ++i)
            sim::attach(id, parents[i], "IOService");
        if (!parents.empty())
            return usb_device(find_device(id));
        // Matching finds services only: reach the orphan through the device tree.
        auto children = find_device(platform_).get_children(plane::device_tree);
        return usb_device(device(plinth::apple::io_kit::io_registry_entry(children.next())));
    }

    sim::entry_id platform_ = 0;
    sim::entry_id controller_ = 0;
    sim::entry_id hub_ = 0;
    sim::entry_id keyboard_ = 0;
};

TEST_F(usb_device_test, accepts_only_host_devices_and_navigates_the_usb_plane)
{
    usb_device const keyboard(find_device(keyboard_));
    ASSERT_TRUE(keyboard);
    EXPECT_FALSE(usb_device(find_device(controller_))) << "a host controller is no USB device";
    sim::add_class("LegacyUSBDevice", "IOUSBDevice");
    auto const legacy = sim::add_entry({"LegacyUSBDevice", "Old"}, hub_);
    EXPECT_FALSE(usb_device(find_device(legacy))) << "an IOUSBDevice that is no IOUSBHostDevice";

    EXPECT_EQ(keyboard.get_usb_parent(), find_device(hub_));
    EXPECT_FALSE(usb_device(find_device(hub_)).get_usb_parent()) << "the controller above the hub is no USB device";
    auto children = usb_device(find_device(hub_)).get_usb_children();
    EXPECT_EQ(device(plinth::apple::io_kit::io_registry_entry(children.next())), keyboard);
    EXPECT_FALSE(children.next()) << "Old is in the IOService plane only";
    EXPECT_EQ(keyboard.get_usb_name(), "Keyboard");
    EXPECT_EQ(keyboard.get_usb_path(), "IOUSB:/USB2.0 Hub@14100000/Keyboard@14110000");
}

TEST_F(usb_device_test, getters_return_the_registry_values_and_fail_without_substitutes)
{
    usb_device const keyboard(find_device(keyboard_));
    EXPECT_EQ(keyboard.get_address(), 3);
    EXPECT_EQ(keyboard.get_location_id(), 0x14110000);
    EXPECT_EQ(keyboard.get_manufacturer(), "Apple Inc.");
    EXPECT_EQ(keyboard.get_product(), "Magic Keyboard");

    auto const d = keyboard.get_device_descriptor();
    EXPECT_EQ(
        (std::array{d.bDeviceClass, d.bDeviceSubClass, d.bDeviceProtocol, d.bMaxPacketSize0, d.idVendor, d.idProduct,
                    d.bcdDevice, d.iManufacturer, d.iProduct, d.iSerialNumber, d.bNumConfigurations}),
        (std::array{0, 1, 2, 64, 0x05ac, 0x029c, 0x12345, 4, 5, 6, 1}))
        << "fields in the descriptor's order; a bcdDevice wider than 16 bits stays as it is";

    auto const missing = plinth::testing::system_error_of([&] { (void)keyboard.get_serial_number(); });
    EXPECT_EQ(missing.code(), plinth::make_error_code(plinth::errc::property_not_found));
    sim::set_property(keyboard_, "USB Address", std::string("3"));
    EXPECT_THROW((void)keyboard.get_address(), mpark::bad_variant_access) << "no conversion between kinds";
    sim::remove_property(keyboard_, "idProduct");
    EXPECT_THROW((void)keyboard.get_device_descriptor(), boost::system::system_error) << "no partial record";
    EXPECT_THROW((void)usb_device(find_device(controller_)).get_address(), boost::system::system_error);
}

TEST_F(usb_device_test, port_number_prefers_portnum_then_the_first_four_byte_port_of_a_parent)
{
    EXPECT_EQ(with_ports({{2, 0, 0, 0}}, {{"PortNum", sim::make_number(7)}}).get_port_number(), 7)
        << "PortNum wins over the parents";
    EXPECT_EQ(with_ports({{1, 0}, {4, 0, 0, 0}}).get_port_number(), 4) << "sizes 2 then 4";
    EXPECT_EQ(with_ports({{1, 0}, {6, 0, 0, 0, 9, 9}}).get_port_number(), 6)
        << "sizes 2 then 6: the second wrongly sized value is taken, first four bytes";
    EXPECT_EQ(with_ports({{1, 0, 0}, {5, 1}}).get_port_number(), 0x105) << "a short second value fills the low bytes";
    EXPECT_EQ(with_ports({{3, 0, 0, 0}}, {{"PortNum", std::string("x")}}).get_port_number(), 3)
        << "a non-numeric PortNum sends the search to the parents";
}

TEST_F(usb_device_test, port_number_failures_are_std_system_errors)
{
    auto const error_of = [](usb_device const& d) {
        try
        {
            (void)d.get_port_number();
        }
        catch (boost::system::system_error const& e)
        {
            ADD_FAILURE() << "Boost's system_error where std::system_error is due: " << e.what();
        }
        catch (std::system_error const& e)
        {
            return e;
        }
        ADD_FAILURE() << "no std::system_error";
        return std::system_error(std::error_code());
    };
    auto const lone_short = error_of(with_ports({{1, 0}}));
    EXPECT_EQ(lone_short.code().value(), 3);
    EXPECT_EQ(lone_short.code().category().name(),
              std::string(plinth::make_error_code(plinth::errc::invalid_port_size).category().name()));
    EXPECT_TRUE(std::string(lone_short.what()).starts_with("get_port_number")) << lone_short.what();
    EXPECT_EQ(error_of(with_ports({})).code().value(), 4) << "no IOService parent";

    auto const without_port = sim::add_entry({"IOUSBHostDevice", "Bare"}, platform_);
    EXPECT_THROW((void)usb_device(find_device(without_port)).get_port_number(), boost::system::system_error)
        << "a parent without \"port\" ends the search with its property error";
}

TEST_F(usb_device_test, filter_maps_a_service_side_device_by_location_and_stops_at_the_match)
{
    auto const a = sim::add_entry({"IOUSBHostDevice", "A", {}, usb_properties(0x100)}, platform_);
    auto const b = sim::add_entry({"IOUSBHostDevice", "B", {}, usb_properties(0x200)}, platform_);
    auto const twin = sim::add_entry({"IOUSBHostDevice", "Twin", {}, usb_properties(0x200)}, platform_);
    auto const pci = sim::add_entry({"IOPCIDevice", "pci"}, platform_);
    auto const candidate = find_device(twin);
    ASSERT_FALSE(candidate.is_in_plane(plane::usb));

    std::vector<device> const known{find_device(a), find_device(b), find_device(pci)};
    EXPECT_EQ(filter_usb_device(candidate, known), find_device(b)) << "the PCI element after the match is never read";
    std::vector<device> const pci_first{find_device(a), find_device(pci), find_device(b)};
    EXPECT_EQ(filter_usb_device(candidate, pci_first), candidate) << "a failed read gives the candidate itself";
    EXPECT_FALSE(filter_usb_device(candidate, std::vector<device>{find_device(a)}));
    EXPECT_FALSE(filter_usb_device(candidate, {}));
    sim::remove_property(twin, "locationID");
    EXPECT_EQ(filter_usb_device(candidate, known), candidate);
}

TEST_F(usb_device_test, filter_matches_usb_plane_devices_by_identity_and_passes_relevant_kinds)
{
    auto const keyboard = find_device(keyboard_);
    std::vector<device> const known{find_device(hub_), keyboard};
    EXPECT_EQ(filter_usb_device(keyboard, known), keyboard);
    // Same location, other entry: inside the IOUSB plane only identity counts.
    auto const twin = add_usb({"IOUSBHostDevice", "Twin", "14120000", usb_properties(0x14110000)}, hub_);
    EXPECT_FALSE(filter_usb_device(find_device(twin), known));

    for (auto const* kind : {"IOSerialBSDClient", "IOPCIDevice", "IOPCI2PCIBridge", "IOHIDDevice"})
    {
        auto const entry = find_device(sim::add_entry({kind, kind}, platform_));
        EXPECT_EQ(filter_usb_device(entry, known), entry) << kind;
    }
    EXPECT_FALSE(filter_usb_device(find_device(sim::add_entry({"IOAudioEngine", "audio"}, platform_)), known));
}

} // namespace
