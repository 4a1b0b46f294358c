#include "io_kit/cf/boolean.hpp"
#include "io_kit/cf/data.hpp"
#include "io_kit/cf/dictionary.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_registry_entry_view.hpp"
#include "io_kit/mach_port.hpp"
#include "support/sim_test.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace plinth::apple::io_kit;
namespace sim = plinth::sim;

// A small machine: Root → platform "J313AP" → controller "xhci@0" → device "Hub@14100000",
// the device also attached in the IOUSB plane under the controller.
class io_registry_entry_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        platform_id = sim::add_entry(sim::entry_spec("IOPlatformExpertDevice", "J313AP"),
                                     sim::root_entry_id);
        controller_id = sim::add_entry(sim::entry_spec("AppleT8103USBXHCI", "xhci"), platform_id);
        sim::attach(controller_id, sim::root_entry_id, kIOUSBPlane);
        sim::entry_spec device = sim::entry_spec("IOUSBHostDevice", "Hub", "14100000");
        device.properties = {{"idVendor", sim::make_number(0x05ac)},
                             {"sessionID", sim::number{0x100000001, 64}},
                             {"USB Product Name", std::string("Hub")},
                             {"Built-In", true},
                             {"ReportDescriptor", sim::data{0x05, 0x01, 0x09}}};
        device.id = 0x1000002a0;
        device_id = sim::add_entry(device, controller_id);
        sim::attach(device_id, controller_id, kIOUSBPlane);
    }

    static io_registry_entry entry(sim::entry_id id)
    {
        auto services = mach_port::master_port_default().io_service_get_matching_services(
            io_registry_entry::id_matching(id));
        return services.next();
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

TEST_F(io_registry_entry_test, names_locations_paths_and_ids_come_from_the_registry)
{
    io_registry_entry const device = entry(device_id);
    EXPECT_EQ(device.get_registry_entry_id(), 0x1000002a0u);
    EXPECT_EQ(device.get_name(), "Hub");
    EXPECT_EQ(device.get_name_in_plane(kIOServicePlane), "Hub");
    EXPECT_EQ(device.get_location_in_plane(kIOServicePlane), "14100000");
    EXPECT_EQ(device.get_path(kIOServicePlane), "IOService:/xhci/Hub@14100000");
    EXPECT_EQ(entry(platform_id).get_path(kIOServicePlane), "IOService:/");
    // The controller is the first entry under the root in IOUSB, so it is "IOUSB:/".
    EXPECT_EQ(device.get_path(kIOUSBPlane), "IOUSB:/Hub@14100000");
}

TEST_F(io_registry_entry_test, failures_throw_the_iokit_code_and_name_the_call)
{
    io_registry_entry const controller = entry(controller_id);
    try {
        (void)controller.get_path(kIODeviceTreePlane);
        FAIL() << "no exception";
    }
    catch (boost::system::system_error const& e) {
        EXPECT_EQ(e.code().value(), kIOReturnBadArgument);
        EXPECT_NE(std::string(e.what()).find("IORegistryEntryGetPath"), std::string::npos) << e.what();
    }
    try {
        (void)controller.get_location_in_plane(kIOServicePlane);
        FAIL() << "no exception";
    }
    catch (boost::system::system_error const& e) {
        EXPECT_EQ(e.code().value(), kIOReturnNotFound);
    }
}

TEST_F(io_registry_entry_test, in_plane_is_false_outside_the_plane_and_for_null)
{
    io_registry_entry const platform = entry(platform_id);
    EXPECT_TRUE(platform.in_plane(kIOServicePlane));
    EXPECT_FALSE(platform.in_plane(kIOUSBPlane));
    EXPECT_TRUE(entry(device_id).in_plane(kIOUSBPlane));
    EXPECT_FALSE(io_registry_entry().in_plane(kIOServicePlane));
    EXPECT_FALSE(platform.in_plane(nullptr));
}

TEST_F(io_registry_entry_test, the_parent_is_the_first_in_the_plane_and_null_when_there_is_none)
{
    io_registry_entry const device = entry(device_id);
    EXPECT_TRUE(device.get_parent_entry(kIOServicePlane) == entry(controller_id));
    EXPECT_TRUE(device.get_parent_entry(kIOUSBPlane) == entry(controller_id));

    io_registry_entry const root = mach_port::master_port_default().io_registry_get_root_entry();
    EXPECT_FALSE(root.get_parent_entry(kIOServicePlane));
    EXPECT_FALSE(entry(platform_id).get_parent_entry(kIOUSBPlane)) << "not in that plane";
}

TEST_F(io_registry_entry_test, iterators_walk_in_attach_order_and_stay_exhausted)
{
    sim::entry_id const second = sim::add_entry(sim::entry_spec("IOService", "port"), controller_id);
    sim::attach(device_id, second, kIOServicePlane);

    io_iterator children = entry(controller_id).get_child_iterator(kIOServicePlane);
    EXPECT_EQ(ids_of(children), (std::vector<std::uint64_t>{device_id, second}));
    EXPECT_FALSE(children.next());
    EXPECT_FALSE(children.next());

    io_iterator parents = entry(device_id).get_parent_iterator(kIOServicePlane);
    EXPECT_EQ(ids_of(parents), (std::vector<std::uint64_t>{controller_id, second}));
    EXPECT_FALSE(parents.next());

    io_iterator none = entry(device_id).get_child_iterator(kIOServicePlane);
    EXPECT_FALSE(none.next());
    EXPECT_FALSE(none.next());
}

TEST_F(io_registry_entry_test, properties_are_new_copies_of_their_cf_type)
{
    io_registry_entry const owner = entry(device_id);
    io_registry_entry_view const view = owner.view();

    CF::AutoPointer const vendor = view.create_cf_property_(CF::String("idVendor", kCFStringEncodingUTF8), 0);
    ASSERT_TRUE(vendor.IsValid());
    EXPECT_EQ(CFGetRetainCount(vendor.GetTypeRef()), 1);
    EXPECT_EQ(static_cast<int>(CF::Number(vendor)), 0x05ac);

    CF::Number const session(owner.create_cf_property_(CF::String("sessionID", kCFStringEncodingUTF8), 0));
    EXPECT_EQ(static_cast<int>(session), 1) << "a 64-bit number keeps its low 32 bits";

    CF::String const product(view.create_cf_property_(CF::String("USB Product Name", kCFStringEncodingUTF8), 0));
    EXPECT_EQ(product.GetValue(kCFStringEncodingUTF8), "Hub");

    CF::Boolean const built_in(view.create_cf_property_(CF::String("Built-In", kCFStringEncodingUTF8), 0));
    EXPECT_TRUE(built_in.IsValid());
    EXPECT_TRUE(static_cast<bool>(built_in));

    CF::Data const descriptor(view.create_cf_property_(CF::String("ReportDescriptor", kCFStringEncodingUTF8), 0));
    ASSERT_EQ(descriptor.GetLength(), 3);
    EXPECT_EQ(descriptor.GetBytePtr()[0], 0x05);
    EXPECT_EQ(descriptor.GetBytePtr()[2], 0x09);
}

TEST_F(io_registry_entry_test, absent_properties_null_entries_and_empty_keys_give_empty_pointers)
{
    io_registry_entry const device = entry(device_id);
    CF::String const missing("NoSuchKey", kCFStringEncodingUTF8);
    EXPECT_FALSE(device.create_cf_property_(missing, 0).IsValid());
    EXPECT_FALSE(device.create_cf_property_(CF::String(), 0).IsValid());
    EXPECT_FALSE(io_registry_entry_view().create_cf_property_(CF::String("idVendor", kCFStringEncodingUTF8), 0).IsValid());
    EXPECT_FALSE(io_registry_entry().create_cf_property_(CF::String("idVendor", kCFStringEncodingUTF8), 0).IsValid());
}

TEST_F(io_registry_entry_test, id_matching_holds_the_full_64_bit_id)
{
    CF::Dictionary const matching = io_registry_entry::id_matching(0x1000002a0u);
    ASSERT_TRUE(matching.IsValid());
    EXPECT_EQ(matching.GetCount(), 1);
    CF::Number const id(matching.GetValue(CF::String(kIORegistryEntryIDKey, kCFStringEncodingUTF8)));
    ASSERT_TRUE(id.IsValid());
    std::int64_t value = 0;
    ASSERT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(id.GetTypeRef()), kCFNumberSInt64Type, &value));
    EXPECT_EQ(value, 0x1000002a0);
}

} // namespace
