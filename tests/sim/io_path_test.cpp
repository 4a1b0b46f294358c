// Tests of registry paths in the simulated registry.
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

    EXPECT_EQ(text_of(cf(IORegistryEntryCopyPath(find_entry(m.lpc).get(), kIOServicePlane)).get()),
              "IOService:/PCI0@0/pci8086,a0ed@1f,3");
}

TEST_F(io_path, no_path_where_the_entry_is_not_attached_or_the_path_too_long)
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

    // A path longer than an io_string_t fails, but copies whole.
    auto parent = m.platform;
    for (int level = 0; level < 30; ++level)
        parent = sim::add_entry({"IOService", std::string(20, 'a')}, parent);
    auto const deep = find_entry(parent);
    EXPECT_EQ(IORegistryEntryGetPath(deep.get(), kIOServicePlane, path), kIOReturnBadArgument);
    EXPECT_EQ(text_of(cf(IORegistryEntryCopyPath(deep.get(), kIOServicePlane)).get()).size(),
              std::string("IOService:").size() + 30 * 21);
}

TEST_F(io_path, from_path_walks_names_and_locations_and_names_nothing_for_a_malformed_or_unknown_path)
{
    auto const twin = sim::add_entry({"IOService", "XHC1", "15"}, m.pci);
    std::pair<char const*, sim::entry_id> const cases[] = {
        {"IOService:/", m.platform},
        {"IOService:/PCI0/XHC1/HS01/Keyboard", m.keyboard},
        {"IOService:/PCI0@0/XHC1@14/HS01@14100000/Keyboard@14100000/Keyboard", m.hid},
        {"IOUSB:/Keyboard@1", m.keyboard},
        {"IOService:/PCI0/XHC1/", m.xhc},
        // The first match in attach order wins.
        {"IOService:/PCI0/XHC1@15", twin},
        // Location fields compare as hex numbers, separators as they are; a location may stand alone.
        {"IOService:/PCI0/pci8086,a0ed@1F,03", m.lpc},
        {"IOService:/PCI0/@1f,3", m.lpc},
        {"IOService:/PCI0@00/XHC1@0014", m.xhc},
        {"IOService:/PCI0/pci8086,a0ed@1f:3", 0},
        {"IOService:/PCI0/pci8086,a0ed@1f", 0},
        {"IOService:/PCI0/XHC1@16", 0},
        {"IOService:", 0},
        {"IOService", 0},
        {"IOService:PCI0", 0},
        {"IONoSuchPlane:/", 0},
        {"IOService:/PCI0:x", 0},
        {"IOService:/PCI0//XHC1", 0},
        {"IOService:/Nothing", 0},
        {"IODeviceTree:/", 0},
        {"", 0},
    };
    for (auto const& [path, id] : cases)
        EXPECT_EQ(at(path), id) << path;

    auto const round_trip = path_of(find_entry(m.hid).get(), kIOServicePlane);
    EXPECT_EQ(at(round_trip.c_str()), m.hid);
    handle const xhc(IORegistryEntryCopyFromPath(kIOMainPortDefault, string("IOService:/PCI0/XHC1").as<CFStringRef>()));
    EXPECT_EQ(id_of(xhc.get()), m.xhc);
}

} // namespace
