#include "io_registry_support.hpp"

#include <IOKit/IOKitLib.h>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

class io_path : public sample_machine_test
{
protected:
    // The ID of the entry a path names, 0 for none.
    static sim::entry_id at(char const* path)
    {
        handle const entry(IORegistryEntryFromPath(kIOMainPortDefault, path));
        return entry ? id_of(entry.get()) : 0;
    }
};

TEST_F(io_path, paths_start_below_the_planes_top_entry)
{
    EXPECT_EQ(path_of(find_entry(m.platform).get(), kIOServicePlane), "IOService:/");
    EXPECT_EQ(path_of(find_entry(m.keyboard).get(), kIOServicePlane),
              "IOService:/PCI0@0/XHC1@14/HS01@14100000/Keyboard@14100000");
    EXPECT_EQ(path_of(find_entry(m.keyboard).get(), kIOUSBPlane), "IOUSB:/Keyboard@1");
    EXPECT_EQ(path_of(find_entry(m.keyboard).get(), kIOPowerPlane), "IOPower:/Keyboard@14100000");
    EXPECT_EQ(path_of(find_entry(m.timer).get(), kIOServicePlane), "IOService:/PCI0@0/Timer")
        << "through the first parent";

    cf const copied(IORegistryEntryCopyPath(find_entry(m.lpc).get(), kIOServicePlane));
    EXPECT_EQ(text_of(copied.get()), "IOService:/PCI0@0/pci8086,a0ed@1f,3");
}

TEST_F(io_path, no_path_where_the_entry_is_not_attached)
{
    io_string_t path;
    auto const keyboard = find_entry(m.keyboard);
    EXPECT_EQ(IORegistryEntryGetPath(keyboard.get(), kIODeviceTreePlane, path), kIOReturnBadArgument);
    EXPECT_EQ(IORegistryEntryGetPath(keyboard.get(), "IONoSuchPlane", path), kIOReturnBadArgument);
    EXPECT_EQ(IORegistryEntryCopyPath(keyboard.get(), kIODeviceTreePlane), nullptr);
    handle const root(IORegistryGetRootEntry(kIOMainPortDefault));
    EXPECT_EQ(IORegistryEntryGetPath(root.get(), kIOServicePlane, path), kIOReturnBadArgument)
        << "the root has no path";

    // Under a second top entry of a plane: the walk up never meets the plane's top.
    auto const other = sim::add_entry({"IOService", "Other"}, sim::root_entry_id, "IOUSB");
    EXPECT_EQ(IORegistryEntryGetPath(find_entry(other, kIOUSBPlane).get(), kIOUSBPlane, path), kIOReturnBadArgument);
}

TEST_F(io_path, a_path_longer_than_an_io_string_fails_but_copies_whole)
{
    auto parent = m.platform;
    for (int level = 0; level < 30; ++level)
        parent = sim::add_entry({"IOService", std::string(20, 'a')}, parent);
    io_string_t path;
    auto const deep = find_entry(parent);
    EXPECT_EQ(IORegistryEntryGetPath(deep.get(), kIOServicePlane, path), kIOReturnBadArgument);
    cf const copied(IORegistryEntryCopyPath(deep.get(), kIOServicePlane));
    EXPECT_EQ(text_of(copied.get()).size(), std::string("IOService:").size() + 30 * 21);
}

TEST_F(io_path, from_path_walks_names_and_locations)
{
    EXPECT_EQ(at("IOService:/"), m.platform);
    EXPECT_EQ(at("IOService:/PCI0/XHC1/HS01/Keyboard"), m.keyboard);
    EXPECT_EQ(at("IOService:/PCI0@0/XHC1@14/HS01@14100000/Keyboard@14100000/Keyboard"), m.hid);
    EXPECT_EQ(at("IOUSB:/Keyboard@1"), m.keyboard);
    EXPECT_EQ(at("IOService:/PCI0/XHC1/"), m.xhc) << "a trailing slash";

    // Location fields compare as hex numbers, separators as they are.
    EXPECT_EQ(at("IOService:/PCI0/pci8086,a0ed@1F,03"), m.lpc);
    EXPECT_EQ(at("IOService:/PCI0/@1f,3"), m.lpc) << "a location alone";
    EXPECT_EQ(at("IOService:/PCI0@00/XHC1@0014"), m.xhc);
    EXPECT_EQ(at("IOService:/PCI0/pci8086,a0ed@1f:3"), 0u);
    EXPECT_EQ(at("IOService:/PCI0/pci8086,a0ed@1f"), 0u);
    EXPECT_EQ(at("IOService:/PCI0/XHC1@15"), 0u);

    auto const round_trip = path_of(find_entry(m.hid).get(), kIOServicePlane);
    EXPECT_EQ(at(round_trip.c_str()), m.hid);
}

TEST_F(io_path, the_first_match_in_attach_order_wins)
{
    auto const twin = sim::add_entry({"IOService", "XHC1", "15"}, m.pci);
    EXPECT_EQ(at("IOService:/PCI0/XHC1"), m.xhc);
    EXPECT_EQ(at("IOService:/PCI0/XHC1@15"), twin);
}

TEST_F(io_path, malformed_or_unknown_paths_name_nothing)
{
    for (auto const* path : {"IOService:", "IOService", "IOService:PCI0", "IONoSuchPlane:/", "IOService:/PCI0:x",
                             "IOService:/PCI0//XHC1", "IOService:/Nothing", "IODeviceTree:/", ""})
        EXPECT_EQ(at(path), 0u) << path;

    cf const path = string("IOService:/PCI0/XHC1");
    handle const xhc(IORegistryEntryCopyFromPath(kIOMainPortDefault, path.as<CFStringRef>()));
    EXPECT_EQ(id_of(xhc.get()), m.xhc);
}

} // namespace
