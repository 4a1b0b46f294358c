// The usb, pci and serial listings: order and nesting, fields read, IOKit calls per entry, and every shared dump.
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "sim/control/loaders.hpp"
#include "support/sim_test.hpp"
#include "tools/plinth-ioreg/listings/pci_listing.hpp"
#include "tools/plinth-ioreg/listings/serial_listing.hpp"
#include "tools/plinth-ioreg/listings/usb_listing.hpp"

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace tool = plinth::ioreg_tool;
using plinth::apple::tree;
using plinth::apple::io_kit::mach_port;

tree machine()
{
    return tree(mach_port::master_port_default());
}

std::set<std::string> keys_of(nlohmann::ordered_json const& object)
{
    std::set<std::string> keys;
    for (auto const& [key, value] : object.items())
        keys.insert(key);
    return keys;
}

// Every item of a listing has the same keys, so that scripts can rely on them.
void expect_stable_keys(nlohmann::ordered_json const& listing)
{
    ASSERT_TRUE(listing.is_array());
    for (auto const& item : listing)
        EXPECT_EQ(keys_of(item), keys_of(listing.front()));
}

using device_listing_test = plinth::testing::sim_test;

TEST_F(device_listing_test, bundled_usb_devices_nest_under_their_hub_in_the_usb_plane_order)
{
    sim::load_bundled_registry();
    auto const usb = tool::list_usb_devices(machine());
    ASSERT_GE(usb.size(), 5u);
    EXPECT_EQ(usb[0].product, "USB2.0 Hub");
    EXPECT_EQ(usb[0].depth, 0);
    EXPECT_EQ(usb[1].product, "USB Keyboard");
    EXPECT_EQ(usb[1].depth, 1) << "behind the hub";
    EXPECT_EQ(usb[1].vendor_id, 0x046d);
    for (auto const& item : usb)
    {
        EXPECT_TRUE(item.port_number) << *item.product;
        EXPECT_TRUE(item.descriptor) << *item.product;
    }
    expect_stable_keys(tool::usb_listing_to_json(usb));
    auto const text = tool::format_usb_listing(usb, true);
    EXPECT_NE(text.find("\n  046d:c31c  USB Keyboard  manufacturer Logitech"), std::string::npos) << text;
    EXPECT_NE(text.find("class 09/00/02  max packet 64"), std::string::npos) << "the hub's descriptor";
}

TEST_F(device_listing_test, bundled_serial_port_on_a_usb_adapter_names_the_adapter)
{
    sim::load_bundled_registry();
    auto const ports = tool::list_serial_ports(machine());
    ASSERT_GE(ports.size(), 2u);
    auto const ftdi = std::ranges::find(ports, std::optional<std::string>("/dev/cu.usbserial-A50285BI"),
                                        &tool::serial_listing_item::callout_device);
    ASSERT_NE(ftdi, ports.end());
    ASSERT_TRUE(ftdi->usb_device);
    EXPECT_EQ(ftdi->usb_device->vendor_id, 0x0403);
    EXPECT_EQ(ftdi->usb_device->product, "FT232R USB UART");
    EXPECT_EQ(ftdi->usb_device->serial_number, "A50285BI");
    auto const bluetooth = std::ranges::find(ports, std::optional<std::string>("Bluetooth-Incoming-Port"),
                                             &tool::serial_listing_item::tty_base_name);
    ASSERT_NE(bluetooth, ports.end());
    EXPECT_FALSE(bluetooth->usb_device) << "no USB device above a Bluetooth port";
    expect_stable_keys(tool::serial_listing_to_json(ports));
}

TEST_F(device_listing_test, bundled_pci_functions_read_their_data_identity_and_name_the_class)
{
    sim::load_bundled_registry();
    auto const functions = tool::list_pci_devices(machine());
    ASSERT_GE(functions.size(), 10u);
    auto const xhc = std::ranges::find_if(functions, [](auto const& f) { return f.space.device_id == 0xa36d; });
    ASSERT_NE(xhc, functions.end());
    EXPECT_EQ(xhc->space.vendor_id, 0x8086);
    EXPECT_EQ(tool::pci_class_name(xhc->space.class_code, xhc->space.subclass), "USB controller");
    EXPECT_EQ(xhc->path, "IOService:/AppleACPIPlatformExpert/PCI0@0/AppleACPIPCI/XHC1@14");
    expect_stable_keys(tool::pci_listing_to_json(functions));
    EXPECT_EQ(tool::pci_class_name(0x06, 0x04), "PCI bridge");
    EXPECT_EQ(tool::pci_class_name(0x06, 0x07), "bridge");
    EXPECT_EQ(tool::pci_class_name(0xff, 0xff), "");
}

// A registry with the IOService plane alone, as a dump of one plane gives, where
// the host stack keeps a legacy mirror of each device at the same location.
TEST_F(device_listing_test, without_a_usb_plane_devices_come_in_service_order_once_and_a_bad_one_does_not_stop_it)
{
    auto const controller = sim::add_entry({"AppleUSBXHCI", "XHC1", "14000000"}, sim::root_entry_id);
    sim::add_entry({"IOUSBHostDevice",
                    "Keyboard",
                    "14100000",
                    {{"locationID", sim::make_number(0x14100000)}, {"idVendor", std::string("05ac")}}},
                   controller);
    sim::add_entry({"IOUSBHostDevice", "Bare", "14200000"}, controller);
    sim::add_entry({"AppleUSBDevice", "Keyboard", "14100000", {{"locationID", sim::make_number(0x14100000)}}},
                   controller);
    auto const usb = tool::list_usb_devices(machine());
    ASSERT_EQ(usb.size(), 2u) << "the mirror at a location already listed is left out";
    EXPECT_FALSE(usb[0].vendor_id) << "a string idVendor is shown as absent";
    EXPECT_EQ(usb[0].location_id, 0x14100000);
    EXPECT_FALSE(usb[1].location_id);
    EXPECT_FALSE(usb[1].descriptor);
    EXPECT_EQ(tool::format_usb_listing(usb, false).substr(0, 20), "-:-  -  manufacturer");
}

// A listing looks at every entry of the IOService plane for the kind it lists, so
// what each entry costs there is paid hundreds of times on a Mac: the iterator
// step that yields it and its release, its ID (an entry with two parents is
// listed once), its class, and its child iterator made, drained and released.
// A copy of the entry for the class check would add a retain and a release.
TEST_F(device_listing_test, a_listing_pays_seven_iokit_calls_per_entry_it_passes)
{
    auto const bridge = sim::add_entry({"IOPCI2PCIBridge", "pci-bridge", "1"}, sim::root_entry_id);
    auto const function =
        sim::add_entry({"IOPCIDevice",
                        "XHC1",
                        "14",
                        {{"vendor-id", sim::data{0x86, 0x80, 0, 0}}, {"device-id", sim::data{0x6d, 0xa3, 0, 0}}}},
                       bridge);
    sim::add_entry({"AppleUSBXHCI", "XHC1"}, function);
    auto const registry = machine();
    sim::reset_call_count();
    auto const functions = tool::list_pci_devices(registry);
    auto const calls = sim::iokit_call_count();
    ASSERT_EQ(functions.size(), 1u);
    EXPECT_EQ(functions[0].space.vendor_id, 0x8086);
    // The root (found, its child iterator made, drained and released, itself
    // released), three entries, and for the function its ID, the six
    // configuration-space properties, its child index and its path.
    EXPECT_EQ(calls, 5 + 3 * 7 + 9);
}

TEST_F(device_listing_test, every_shared_dump_lists_all_three_kinds)
{
    std::filesystem::path const shared(PLINTH_SHARED_IOREG_DIR);
    if (!std::filesystem::is_directory(shared))
        GTEST_SKIP() << "no shared dumps at " << shared;
    int dumps = 0;
    for (auto const& file : std::filesystem::directory_iterator(shared))
    {
        if (file.path().extension() != ".txt")
            continue;
        SCOPED_TRACE(file.path().filename().string());
        sim::reset_registry();
        try
        {
            sim::load_dump_file(file.path());
        }
        catch (std::exception const&)
        {
            continue; // the class-chain listings are no registry dumps
        }
        ++dumps;
        auto const registry = machine();
        EXPECT_NO_THROW({
            (void)tool::format_usb_listing(tool::list_usb_devices(registry), true);
            (void)tool::format_pci_listing(tool::list_pci_devices(registry));
            (void)tool::format_serial_listing(tool::list_serial_ports(registry));
        });
    }
    EXPECT_GE(dumps, 3);
}

} // namespace
