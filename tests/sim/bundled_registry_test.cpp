// Tests of the bundled registry: what the device views and tools read from it.
#include "io_registry_support.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace plinth::testing::io;

namespace {

namespace sim = plinth::sim;

// What the device views and tools read from the bundled registry, checked on every
// entry of a kind, so that a regenerated registry cannot lose it quietly.
class bundled_registry : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        sim::load_bundled_registry();
    }

    static std::vector<handle> matching(char const* class_name)
    {
        handle iterator;
        IOServiceGetMatchingServices(kIOMainPortDefault, IOServiceMatching(class_name), iterator.out());
        std::vector<handle> found;
        while (auto const next = iterator ? IOIteratorNext(iterator.get()) : IO_OBJECT_NULL)
            found.emplace_back(next);
        return found;
    }

    // Registry entry IDs of every entry below the root in `plane`.
    static std::set<std::uint64_t> reachable(char const* plane)
    {
        auto const iterator = registry_iterator(plane);
        std::set<std::uint64_t> ids;
        while (handle const next{IOIteratorNext(iterator.get())})
            ids.insert(id_of(next.get()));
        return ids;
    }

    static void expect_keys(io_object_t entry, std::initializer_list<char const*> numbers,
                            std::initializer_list<char const*> texts)
    {
        for (auto const* key : numbers)
            EXPECT_TRUE(number_property(entry, key)) << key << " of " << name_of(entry);
        for (auto const* key : texts)
            EXPECT_TRUE(text_property(entry, key)) << key << " of " << name_of(entry);
    }

    static handle parent_of(io_object_t entry, char const* plane)
    {
        handle parent;
        IORegistryEntryGetParentEntry(entry, plane, parent.out());
        return parent;
    }
};

TEST_F(bundled_registry, is_a_realistic_mac_of_known_services_in_four_planes)
{
    EXPECT_GE(sim::entry_count(), 300u);
    auto const services = reachable(kIOServicePlane);
    EXPECT_EQ(services.size() + 1, sim::entry_count()) << "every entry hangs below the root in IOService";
    for (auto const* plane : {kIOUSBPlane, kIODeviceTreePlane, kIOPowerPlane})
    {
        auto const ids = reachable(plane);
        EXPECT_GE(ids.size(), 10u) << plane;
        EXPECT_TRUE(std::ranges::includes(services, ids)) << plane << " shares the IOService entries";
    }
    auto const all = registry_iterator(kIOServicePlane);
    while (handle const entry{IOIteratorNext(all.get())})
        EXPECT_TRUE(IOObjectConformsTo(entry.get(), "IOService")) << name_of(entry.get()) << " is an unknown class";

    handle platform(IORegistryEntryFromPath(kIOMainPortDefault, "IOService:/"));
    EXPECT_EQ(name_of(platform.get()), "Macmini8,1");
    EXPECT_TRUE(IOObjectConformsTo(platform.get(), "IOPlatformExpertDevice"));
    EXPECT_TRUE(text_property(platform.get(), "IOPlatformSerialNumber"));
    handle tree_root(IORegistryEntryFromPath(kIOMainPortDefault, "IODeviceTree:/"));
    EXPECT_EQ(id_of(tree_root.get()), id_of(platform.get()));
    EXPECT_EQ(name_in_plane(platform.get(), kIODeviceTreePlane), "/");
    EXPECT_EQ(class_of(handle(IORegistryEntryFromPath(kIOMainPortDefault, "IOPower:/")).get()), "IOPMrootDomain");
}

TEST_F(bundled_registry, hid_devices_carry_what_a_hid_stream_reads)
{
    auto const devices = matching("IOHIDDevice");
    ASSERT_GE(devices.size(), 5u);
    std::set<std::pair<std::int64_t, std::int64_t>> usages;
    for (auto const& device : devices)
    {
        auto const page = number_property(device.get(), "DeviceUsagePage");
        auto const usage = number_property(device.get(), "DeviceUsage");
        ASSERT_TRUE(page && usage) << name_of(device.get());
        usages.emplace(*page, *usage);
        EXPECT_EQ(number_property(device.get(), "PrimaryUsagePage"), page);
        EXPECT_EQ(number_property(device.get(), "PrimaryUsage"), usage);
        EXPECT_GT(number_property(device.get(), "MaxInputReportSize").value_or(0), 0);
        EXPECT_FALSE(data_property(device.get(), "ReportDescriptor").value_or(sim::data{}).empty());
        EXPECT_TRUE(property(device.get(), "DeviceUsagePairs"));
        expect_keys(device.get(),
                    {"MaxOutputReportSize", "MaxFeatureReportSize", "VendorID", "ProductID", "LocationID"},
                    {"Transport", "Product", "Manufacturer", "SerialNumber"});
    }
    EXPECT_TRUE(usages.contains({1, 6})) << "a keyboard";
    EXPECT_TRUE(usages.contains({1, 2})) << "a mouse";
    EXPECT_TRUE(usages.contains({1, 5})) << "a gamepad";
    auto const vendor = std::ranges::find_if(
        devices, [&](handle const& d) { return number_property(d.get(), "DeviceUsagePage") == 0xFF00; });
    ASSERT_NE(vendor, devices.end()) << "a vendor-defined device";
    EXPECT_TRUE(IOObjectConformsTo(vendor->get(), "IOUSBHostHIDDevice"));
    // Numbered reports of 64 bytes, their ID byte included, and a small feature report.
    EXPECT_EQ(number_property(vendor->get(), "MaxInputReportSize"), 64);
    EXPECT_EQ(number_property(vendor->get(), "MaxOutputReportSize"), 64);
    EXPECT_EQ(number_property(vendor->get(), "MaxFeatureReportSize"), 8);
}

TEST_F(bundled_registry, usb_devices_carry_descriptors_strings_and_a_port_number)
{
    auto const devices = matching("IOUSBHostDevice");
    ASSERT_GE(devices.size(), 12u) << "each device and its legacy twin";
    std::set<std::int64_t> usb_plane_locations;
    for (auto const& device : devices)
        if (IORegistryEntryInPlane(device.get(), kIOUSBPlane))
            usb_plane_locations.insert(number_property(device.get(), "locationID").value_or(-1));

    bool some_session_is_wide = false;
    for (auto const& device : devices)
    {
        auto const name = name_of(device.get());
        expect_keys(device.get(),
                    {"bDeviceClass", "bDeviceSubClass", "bDeviceProtocol", "bMaxPacketSize0", "idVendor", "idProduct",
                     "bcdDevice", "iManufacturer", "iProduct", "iSerialNumber", "bNumConfigurations", "USB Address",
                     "locationID", "sessionID"},
                    {"USB Vendor Name", "USB Product Name", "USB Serial Number"});
        some_session_is_wide |= number_property(device.get(), "sessionID").value_or(0) > 0xFFFFFFFF;
        if (!number_property(device.get(), "PortNum"))
        {
            EXPECT_EQ(
                data_property(parent_of(device.get(), kIOServicePlane).get(), "port").value_or(sim::data{}).size(), 4u)
                << name << " has neither PortNum nor a port parent";
        }
        if (IORegistryEntryInPlane(device.get(), kIOUSBPlane))
        {
            EXPECT_TRUE(IOObjectConformsTo(device.get(), "AppleUSBDevice")) << name;
            EXPECT_EQ(class_of(device.get()), "IOUSBDevice") << "the legacy twin names itself by its override";
        }
        else
        {
            EXPECT_TRUE(usb_plane_locations.contains(*number_property(device.get(), "locationID")))
                << name << " has no twin in the USB plane";
        }
    }
    EXPECT_TRUE(some_session_is_wide) << "session IDs are 64-bit";
}

TEST_F(bundled_registry, pci_functions_carry_their_configuration_header)
{
    auto const functions = matching("IOPCIDevice");
    ASSERT_GE(functions.size(), 15u);
    for (auto const& function : functions)
    {
        for (auto const* key :
             {"vendor-id", "device-id", "subsystem-id", "subsystem-vendor-id", "revision-id", "class-code"})
            EXPECT_EQ(data_property(function.get(), key).value_or(sim::data{}).size(), 4u)
                << key << " of " << name_of(function.get());
        for (auto const* key : {"name", "compatible", "reg"})
            EXPECT_TRUE(data_property(function.get(), key)) << key << " of " << name_of(function.get());
        expect_keys(function.get(), {"IOChildIndex"}, {"IOName"});
    }
    handle xhci(
        IORegistryEntryFromPath(kIOMainPortDefault, "IOService:/AppleACPIPlatformExpert/PCI0@0/AppleACPIPCI/XHC1@14"));
    EXPECT_EQ(data_property(xhci.get(), "class-code"), (sim::data{0x30, 0x03, 0x0C, 0x00}));
    EXPECT_EQ(data_property(xhci.get(), "vendor-id"), (sim::data{0x86, 0x80, 0x00, 0x00}));

    auto const bridges = matching("IOPCI2PCIBridge");
    ASSERT_GE(bridges.size(), 3u);
    for (auto const& bridge : bridges)
    {
        auto const function = parent_of(bridge.get(), kIOServicePlane);
        EXPECT_TRUE(IOObjectConformsTo(function.get(), "IOPCIDevice"));
        EXPECT_EQ(data_property(function.get(), "class-code").value_or(sim::data{0, 0, 0}).at(2), 0x06) << "a bridge";
    }
}

TEST_F(bundled_registry, serial_ports_storage_and_audio_are_present)
{
    auto const clients = matching("IOSerialBSDClient");
    ASSERT_GE(clients.size(), 3u);
    std::set<std::string> devices, types;
    for (auto const& client : clients)
    {
        auto const device = text_property(client.get(), "IOTTYDevice");
        ASSERT_TRUE(device);
        EXPECT_EQ(*device, text_property(client.get(), "IOTTYBaseName").value_or("") +
                               text_property(client.get(), "IOTTYSuffix").value_or("?"));
        EXPECT_EQ(text_property(client.get(), "IOCalloutDevice"), "/dev/cu." + *device);
        EXPECT_EQ(text_property(client.get(), "IODialinDevice"), "/dev/tty." + *device);
        devices.insert(*device);
        types.insert(text_property(client.get(), "IOSerialBSDClientType").value_or(""));
    }
    EXPECT_TRUE(devices.contains("Bluetooth-Incoming-Port"));
    EXPECT_TRUE(devices.contains("usbserial-A50285BI"));
    EXPECT_EQ(types, (std::set<std::string>{"IOModemSerialStream", "IORS232SerialStream", "IOSerialStream"}));

    std::set<std::string> bsd_names;
    for (auto const& media : matching("IOMedia"))
        bsd_names.insert(text_property(media.get(), "BSD Name").value_or(""));
    EXPECT_GE(bsd_names.size(), 5u);
    EXPECT_TRUE(bsd_names.contains("disk0"));
    EXPECT_FALSE(bsd_names.contains(""));
    for (auto const& [name, least] : {std::pair{"IOBlockStorageDevice", 2u}, std::pair{"IOAudioDevice", 1u},
                                      std::pair{"IOAudioEngine", 1u}, std::pair{"IOAudioControl", 3u}})
        EXPECT_GE(matching(name).size(), least) << name;
}

} // namespace
