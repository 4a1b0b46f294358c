#include "io_registry_support.hpp"
#include "sim/control/registry.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace plinth::testing::io;

namespace {

namespace sim = plinth::sim;
using bytes = std::vector<std::uint8_t>;

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
        EXPECT_EQ(IOServiceGetMatchingServices(kIOMainPortDefault, IOServiceMatching(class_name), iterator.out()),
                  KERN_SUCCESS);
        std::vector<handle> found;
        while (auto const next = iterator ? IOIteratorNext(iterator.get()) : IO_OBJECT_NULL)
            found.emplace_back(next);
        return found;
    }

    // Registry entry IDs of every entry below the root in `plane`.
    static std::set<std::uint64_t> reachable(char const* plane)
    {
        handle root(IORegistryGetRootEntry(kIOMainPortDefault));
        handle iterator;
        EXPECT_EQ(IORegistryEntryCreateIterator(root.get(), plane, kIORegistryIterateRecursively, iterator.out()),
                  KERN_SUCCESS);
        std::set<std::uint64_t> ids;
        while (auto const next = IOIteratorNext(iterator.get())) {
            ids.insert(id_of(next));
            IOObjectRelease(next);
        }
        return ids;
    }

    static cf property(io_object_t entry, char const* key)
    {
        auto const name = string(key);
        return cf(IORegistryEntryCreateCFProperty(entry, name.as<CFStringRef>(), kCFAllocatorDefault, 0));
    }

    static std::optional<std::int64_t> number(io_object_t entry, char const* key)
    {
        auto const value = property(entry, key);
        std::int64_t result = 0;
        if (!value || CFGetTypeID(value.get()) != CFNumberGetTypeID() ||
            !CFNumberGetValue(value.as<CFNumberRef>(), kCFNumberSInt64Type, &result))
            return std::nullopt;
        return result;
    }

    static std::optional<std::string> text(io_object_t entry, char const* key)
    {
        auto const value = property(entry, key);
        if (!value || CFGetTypeID(value.get()) != CFStringGetTypeID())
            return std::nullopt;
        return text_of(value.get());
    }

    static std::optional<bytes> data(io_object_t entry, char const* key)
    {
        auto const value = property(entry, key);
        if (!value || CFGetTypeID(value.get()) != CFDataGetTypeID())
            return std::nullopt;
        auto const* begin = CFDataGetBytePtr(value.as<CFDataRef>());
        return bytes(begin, begin + CFDataGetLength(value.as<CFDataRef>()));
    }

    static handle parent_of(io_object_t entry, char const* plane)
    {
        handle parent;
        IORegistryEntryGetParentEntry(entry, plane, parent.out());
        return parent;
    }
};

TEST_F(bundled_registry, is_a_realistic_mac_in_four_planes)
{
    EXPECT_GE(sim::entry_count(), 300u);
    auto const services = reachable(kIOServicePlane);
    EXPECT_EQ(services.size() + 1, sim::entry_count()) << "every entry hangs below the root in IOService";
    for (auto const* plane : {kIOUSBPlane, kIODeviceTreePlane, kIOPowerPlane}) {
        auto const ids = reachable(plane);
        EXPECT_GE(ids.size(), 10u) << plane;
        EXPECT_TRUE(std::ranges::includes(services, ids)) << plane << " shares the IOService entries";
    }

    handle platform(IORegistryEntryFromPath(kIOMainPortDefault, "IOService:/"));
    ASSERT_TRUE(platform);
    EXPECT_EQ(name_of(platform.get()), "Macmini8,1");
    EXPECT_TRUE(IOObjectConformsTo(platform.get(), "IOPlatformExpertDevice"));
    EXPECT_TRUE(text(platform.get(), "IOPlatformSerialNumber"));
    handle tree_root(IORegistryEntryFromPath(kIOMainPortDefault, "IODeviceTree:/"));
    ASSERT_TRUE(tree_root);
    EXPECT_EQ(id_of(tree_root.get()), id_of(platform.get()));
    io_name_t tree_name = {};
    EXPECT_EQ(IORegistryEntryGetNameInPlane(platform.get(), kIODeviceTreePlane, tree_name), KERN_SUCCESS);
    EXPECT_STREQ(tree_name, "/");
    handle root_domain(IORegistryEntryFromPath(kIOMainPortDefault, "IOPower:/"));
    EXPECT_EQ(class_of(root_domain.get()), "IOPMrootDomain");
}

TEST_F(bundled_registry, every_entry_is_a_service_of_a_known_class)
{
    handle root(IORegistryGetRootEntry(kIOMainPortDefault));
    handle iterator;
    ASSERT_EQ(IORegistryEntryCreateIterator(root.get(), kIOServicePlane, kIORegistryIterateRecursively,
                                            iterator.out()),
              KERN_SUCCESS);
    while (auto const next = IOIteratorNext(iterator.get())) {
        handle const entry(next);
        EXPECT_TRUE(IOObjectConformsTo(entry.get(), "IOService")) << name_of(entry.get()) << " is an unknown class";
    }
}

TEST_F(bundled_registry, hid_devices_carry_what_a_hid_stream_reads)
{
    auto const devices = matching("IOHIDDevice");
    ASSERT_GE(devices.size(), 5u);
    std::set<std::pair<std::int64_t, std::int64_t>> usages;
    for (auto const& device : devices) {
        auto const page = number(device.get(), "DeviceUsagePage");
        auto const usage = number(device.get(), "DeviceUsage");
        ASSERT_TRUE(page && usage) << name_of(device.get());
        usages.emplace(*page, *usage);
        EXPECT_EQ(number(device.get(), "PrimaryUsagePage"), page);
        EXPECT_EQ(number(device.get(), "PrimaryUsage"), usage);
        EXPECT_GT(number(device.get(), "MaxInputReportSize").value_or(0), 0);
        EXPECT_TRUE(number(device.get(), "MaxOutputReportSize"));
        EXPECT_TRUE(number(device.get(), "MaxFeatureReportSize"));
        EXPECT_FALSE(data(device.get(), "ReportDescriptor").value_or(bytes{}).empty());
        EXPECT_TRUE(property(device.get(), "DeviceUsagePairs"));
        for (auto const* key : {"Transport", "Product", "Manufacturer", "SerialNumber"})
            EXPECT_TRUE(text(device.get(), key)) << key << " of " << name_of(device.get());
        for (auto const* key : {"VendorID", "ProductID", "LocationID"})
            EXPECT_TRUE(number(device.get(), key)) << key << " of " << name_of(device.get());
    }
    EXPECT_TRUE(usages.contains({1, 6})) << "a keyboard";
    EXPECT_TRUE(usages.contains({1, 2})) << "a mouse";
    EXPECT_TRUE(usages.contains({0xFF00, 1})) << "a vendor-defined device";

    auto const vendor = std::ranges::find_if(devices, [&](handle const& d) {
        return number(d.get(), "DeviceUsagePage") == 0xFF00;
    });
    ASSERT_NE(vendor, devices.end());
    EXPECT_TRUE(IOObjectConformsTo(vendor->get(), "IOUSBHostHIDDevice"));
    EXPECT_EQ(number(vendor->get(), "MaxOutputReportSize"), 64);
}

TEST_F(bundled_registry, usb_devices_carry_descriptors_strings_and_a_port_number)
{
    auto const devices = matching("IOUSBHostDevice");
    ASSERT_GE(devices.size(), 12u) << "each device and its legacy twin";
    std::set<std::int64_t> usb_plane_locations;
    for (auto const& device : devices)
        if (IORegistryEntryInPlane(device.get(), kIOUSBPlane))
            usb_plane_locations.insert(number(device.get(), "locationID").value_or(-1));

    bool some_session_is_wide = false;
    for (auto const& device : devices) {
        auto const name = name_of(device.get());
        for (auto const* key : {"bDeviceClass", "bDeviceSubClass", "bDeviceProtocol", "bMaxPacketSize0", "idVendor",
                                "idProduct", "bcdDevice", "iManufacturer", "iProduct", "iSerialNumber",
                                "bNumConfigurations", "USB Address", "locationID", "sessionID"})
            EXPECT_TRUE(number(device.get(), key)) << key << " of " << name;
        for (auto const* key : {"USB Vendor Name", "USB Product Name", "USB Serial Number"})
            EXPECT_TRUE(text(device.get(), key)) << key << " of " << name;
        some_session_is_wide |= number(device.get(), "sessionID").value_or(0) > 0xFFFFFFFF;

        if (!number(device.get(), "PortNum")) {
            auto const port = data(parent_of(device.get(), kIOServicePlane).get(), "port");
            EXPECT_EQ(port.value_or(bytes{}).size(), 4u) << name << " has neither PortNum nor a port parent";
        }
        if (IORegistryEntryInPlane(device.get(), kIOUSBPlane)) {
            EXPECT_TRUE(IOObjectConformsTo(device.get(), "AppleUSBDevice")) << name;
            EXPECT_EQ(class_of(device.get()), "IOUSBDevice") << "the legacy twin names itself by its override";
        } else {
            EXPECT_TRUE(usb_plane_locations.contains(*number(device.get(), "locationID")))
                << name << " has no twin in the USB plane";
        }
    }
    EXPECT_TRUE(some_session_is_wide) << "session IDs are 64-bit";
}

TEST_F(bundled_registry, pci_functions_carry_their_configuration_header)
{
    auto const functions = matching("IOPCIDevice");
    ASSERT_GE(functions.size(), 15u);
    for (auto const& function : functions) {
        auto const name = name_of(function.get());
        for (auto const* key : {"vendor-id", "device-id", "subsystem-id", "subsystem-vendor-id", "revision-id",
                                "class-code"})
            EXPECT_EQ(data(function.get(), key).value_or(bytes{}).size(), 4u) << key << " of " << name;
        for (auto const* key : {"name", "compatible", "reg"})
            EXPECT_TRUE(data(function.get(), key)) << key << " of " << name;
        EXPECT_TRUE(text(function.get(), "IOName")) << name;
        EXPECT_TRUE(number(function.get(), "IOChildIndex")) << name;
    }
    handle xhci(IORegistryEntryFromPath(kIOMainPortDefault, "IOService:/AppleACPIPlatformExpert/PCI0@0/AppleACPIPCI/XHC1@14"));
    ASSERT_TRUE(xhci);
    EXPECT_EQ(data(xhci.get(), "class-code"), (bytes{0x30, 0x03, 0x0C, 0x00}));
    EXPECT_EQ(data(xhci.get(), "vendor-id"), (bytes{0x86, 0x80, 0x00, 0x00}));

    auto const bridges = matching("IOPCI2PCIBridge");
    ASSERT_GE(bridges.size(), 3u);
    for (auto const& bridge : bridges) {
        auto const function = parent_of(bridge.get(), kIOServicePlane);
        EXPECT_TRUE(IOObjectConformsTo(function.get(), "IOPCIDevice"));
        EXPECT_EQ(data(function.get(), "class-code").value_or(bytes{}).at(2), 0x06) << "a bridge function";
    }
}

TEST_F(bundled_registry, serial_ports_name_their_device_files)
{
    auto const clients = matching("IOSerialBSDClient");
    ASSERT_GE(clients.size(), 3u);
    std::set<std::string> devices, types;
    for (auto const& client : clients) {
        auto const base = text(client.get(), "IOTTYBaseName");
        auto const suffix = text(client.get(), "IOTTYSuffix");
        auto const device = text(client.get(), "IOTTYDevice");
        ASSERT_TRUE(base && suffix && device);
        EXPECT_EQ(*device, *base + *suffix);
        EXPECT_EQ(text(client.get(), "IOCalloutDevice"), "/dev/cu." + *device);
        EXPECT_EQ(text(client.get(), "IODialinDevice"), "/dev/tty." + *device);
        devices.insert(*device);
        types.insert(text(client.get(), "IOSerialBSDClientType").value_or(""));
    }
    EXPECT_TRUE(devices.contains("Bluetooth-Incoming-Port"));
    EXPECT_TRUE(devices.contains("usbserial-A50285BI"));
    EXPECT_EQ(types, (std::set<std::string>{"IOModemSerialStream", "IORS232SerialStream", "IOSerialStream"}));
}

TEST_F(bundled_registry, storage_and_audio_are_present)
{
    auto const media = matching("IOMedia");
    ASSERT_GE(media.size(), 5u);
    std::set<std::string> bsd_names;
    for (auto const& m : media)
        bsd_names.insert(text(m.get(), "BSD Name").value_or(""));
    EXPECT_TRUE(bsd_names.contains("disk0"));
    EXPECT_FALSE(bsd_names.contains(""));
    EXPECT_GE(matching("IOBlockStorageDevice").size(), 2u);
    EXPECT_GE(matching("IOAudioDevice").size(), 1u);
    EXPECT_GE(matching("IOAudioEngine").size(), 1u);
    EXPECT_GE(matching("IOAudioControl").size(), 3u);
}

} // namespace
