// Tests of io_registry_entry: wrong names, paths or planes, misordered parents and children, shared property copies.
#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/data.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_kit_support.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_registry_entry_view.hpp"
#include "io_kit/mach_port.hpp"
#include "support/sim_test.hpp"
#include "support/system_error.hpp"

#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace plinth::apple::io_kit;
using plinth::testing::entry_by_id;
using plinth::testing::system_error_of;
namespace sim = plinth::sim;

// Root → platform "J313AP" → controller "xhci" → device "Hub@14100000", the device
// also in the IOUSB plane under the controller. The device's ID needs more than 32
// bits, so finding it proves that ID matching keeps all 64.
class io_registry_entry_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        platform_id = sim::add_entry({"IOPlatformExpertDevice", "J313AP"}, sim::root_entry_id);
        controller_id = sim::add_entry({"AppleT8103USBXHCI", "xhci"}, platform_id);
        sim::attach(controller_id, sim::root_entry_id, kIOUSBPlane);
        device_id = sim::add_entry({"IOUSBHostDevice",
                                    "Hub",
                                    "14100000",
                                    {{"idVendor", sim::make_number(0x05ac)},
                                     {"USB Product Name", std::string("Hub")},
                                     {"Built-In", true},
                                     {"ReportDescriptor", sim::data{0x05, 0x01, 0x09}}},
                                    0x1000002a0},
                                   controller_id);
        sim::attach(device_id, controller_id, kIOUSBPlane);
    }

    static std::vector<std::uint64_t> ids_of(io_iterator& it)
    {
        std::vector<std::uint64_t> ids;
        while (io_registry_entry const e = it.next())
            ids.push_back(e.get_registry_entry_id());
        return ids;
    }

    sim::entry_id platform_id = 0;
    sim::entry_id controller_id = 0;
    sim::entry_id device_id = 0;
};

TEST_F(io_registry_entry_test, names_locations_paths_and_planes_come_from_the_registry)
{
    io_registry_entry const device = entry_by_id(device_id);
    EXPECT_EQ(device.get_registry_entry_id(), 0x1000002a0u);
    EXPECT_EQ(device.get_name(), "Hub");
    EXPECT_EQ(device.get_name_in_plane(kIOServicePlane), "Hub");
    EXPECT_EQ(device.get_location_in_plane(kIOServicePlane), "14100000");
    EXPECT_EQ(device.get_path(kIOServicePlane), "IOService:/xhci/Hub@14100000");
    EXPECT_EQ(entry_by_id(platform_id).get_path(kIOServicePlane), "IOService:/");
    // The controller is the first entry under the root in IOUSB, so it is "IOUSB:/".
    EXPECT_EQ(device.get_path(kIOUSBPlane), "IOUSB:/Hub@14100000");
    EXPECT_TRUE(device.in_plane(kIOUSBPlane));
    EXPECT_FALSE(entry_by_id(platform_id).in_plane(kIOUSBPlane));
    EXPECT_FALSE(io_registry_entry().in_plane(kIOServicePlane));
    EXPECT_FALSE(device.in_plane(nullptr));

    // Failures throw IOKit's code and name the call.
    io_registry_entry const controller = entry_by_id(controller_id);
    auto const no_path = system_error_of([&] { (void)controller.get_path(kIODeviceTreePlane); });
    EXPECT_EQ(no_path.code().value(), kIOReturnBadArgument);
    EXPECT_NE(std::string(no_path.what()).find("IORegistryEntryGetPath"), std::string::npos) << no_path.what();
    EXPECT_EQ(system_error_of([&] { (void)controller.get_location_in_plane(kIOServicePlane); }).code().value(),
              kIOReturnNotFound);
}

TEST_F(io_registry_entry_test, parents_and_children_in_attach_order_with_iterators_that_stay_exhausted)
{
    sim::entry_id const second = sim::add_entry({"IOService", "port"}, controller_id);
    sim::attach(device_id, second, kIOServicePlane);
    io_registry_entry const device = entry_by_id(device_id);
    EXPECT_TRUE(device.get_parent_entry(kIOServicePlane) == entry_by_id(controller_id)) << "the first parent";
    EXPECT_TRUE(device.get_parent_entry(kIOUSBPlane) == entry_by_id(controller_id));
    EXPECT_FALSE(mach_port::master_port_default().io_registry_get_root_entry().get_parent_entry(kIOServicePlane));
    EXPECT_FALSE(entry_by_id(platform_id).get_parent_entry(kIOUSBPlane)) << "not in that plane";

    io_iterator children = entry_by_id(controller_id).get_child_iterator(kIOServicePlane);
    EXPECT_EQ(ids_of(children), (std::vector<std::uint64_t>{device_id, second}));
    EXPECT_FALSE(children.next());
    EXPECT_FALSE(children.next());
    io_iterator parents = device.get_parent_iterator(kIOServicePlane);
    EXPECT_EQ(ids_of(parents), (std::vector<std::uint64_t>{controller_id, second}));
    EXPECT_FALSE(parents.next());
    io_iterator none = device.get_child_iterator(kIOServicePlane);
    EXPECT_FALSE(none.next());
    EXPECT_FALSE(none.next());
}

TEST_F(io_registry_entry_test, properties_are_new_copies_and_absent_ones_empty)
{
    io_registry_entry const owner = entry_by_id(device_id);
    auto const read = [&](char const* key) {
        return owner.view().create_cf_property_(CF::String(key, kCFStringEncodingUTF8), 0);
    };
    CF::AutoPointer const vendor = read("idVendor");
    ASSERT_TRUE(vendor.IsValid());
    EXPECT_EQ(CFGetRetainCount(vendor.GetTypeRef()), 1);
    EXPECT_EQ(static_cast<int>(CF::Number(vendor)), 0x05ac);
    EXPECT_EQ(CF::String(owner.create_cf_property_(CF::String(CFSTR("USB Product Name")), 0)).GetValue(), "Hub");
    EXPECT_TRUE(static_cast<bool>(CF::Boolean(read("Built-In"))));
    EXPECT_EQ(CF::Data(read("ReportDescriptor")).GetLength(), 3);

    EXPECT_FALSE(read("NoSuchKey").IsValid());
    EXPECT_FALSE(owner.create_cf_property_(CF::String(), 0).IsValid());
    CF::String const vendor_key("idVendor", kCFStringEncodingUTF8);
    EXPECT_FALSE(io_registry_entry_view().create_cf_property_(vendor_key, 0).IsValid());
    EXPECT_FALSE(io_registry_entry().create_cf_property_(vendor_key, 0).IsValid());
}

} // namespace
