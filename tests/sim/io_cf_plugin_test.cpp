// Tests of IOKit's plug-in calls in the simulated machine: IOCreatePlugInInterfaceForService, IODestroyPlugInInterface.
#include "io_registry_support.hpp"

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/hid/IOHIDLibObsolete.h>
#include <IOKit/usb/IOUSBLib.h>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

class io_cf_plugin : public sample_machine_test
{
protected:
    IOCFPlugInInterface** const untouched = reinterpret_cast<IOCFPlugInInterface**>(0x5eed);
    IOCFPlugInInterface** plugin = untouched;
    SInt32 score = 1234;

    kern_return_t create(io_service_t service, CFUUIDRef type)
    {
        return IOCreatePlugInInterfaceForService(service, type, kIOCFPlugInInterfaceID, &plugin, &score);
    }
};

TEST_F(io_cf_plugin, no_service_has_a_plug_in_that_loads_and_the_answer_is_unsupported)
{
    // The keyboard lists no plug-in types; the second device lists the USB and HID
    // ones as a Mac's do, but the simulated machine has no bundle to load for them.
    auto const listed = sim::add_entry(
        {"IOUSBHostDevice",
         "Listed",
         "14200000",
         {{"IOCFPlugInTypes",
           sim::dictionary{{"9dc7b780-9ec0-11d4-a54f-000a27052861", std::string("IOUSBHostFamily.kext/Contents/PlugIns/"
                                                                                "IOUSBLib.bundle")}}}}},
        m.port);
    for (auto const id : {m.keyboard, listed, m.hid})
    {
        auto const service = find_entry(id);
        for (CFUUIDRef const type :
             {kIOUSBDeviceUserClientTypeID, kIOUSBInterfaceUserClientTypeID, kIOHIDDeviceUserClientTypeID})
        {
            EXPECT_EQ(create(service.get(), type), kIOReturnUnsupported);
            EXPECT_EQ(plugin, untouched) << "no interface is handed out";
            EXPECT_EQ(score, 1234);
        }
    }
}

TEST_F(io_cf_plugin, null_dead_and_wrong_kind_handles_read_as_services_without_plug_ins)
{
    EXPECT_EQ(create(IO_OBJECT_NULL, kIOUSBDeviceUserClientTypeID), kIOReturnUnsupported);
    EXPECT_TRUE(take_misuse_reports().empty()) << "a null handle is how callers say none";

    auto const dead = find_entry(m.keyboard).get(); // released with its owner at once
    EXPECT_EQ(create(dead, kIOUSBDeviceUserClientTypeID), kIOReturnUnsupported);
    handle iterator;
    ASSERT_EQ(IORegistryEntryGetChildIterator(find_entry(m.xhc).get(), kIOServicePlane, iterator.out()), KERN_SUCCESS);
    EXPECT_EQ(create(iterator.get(), kIOUSBDeviceUserClientTypeID), kIOReturnUnsupported);
    EXPECT_EQ(plugin, untouched);
    auto const reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 2u);
    EXPECT_NE(reports[0].find("IOCreatePlugInInterfaceForService"), std::string::npos) << reports[0];
    EXPECT_NE(reports[1].find("is not a registry entry"), std::string::npos) << reports[1];
}

TEST_F(io_cf_plugin, null_pointers_and_types_that_are_no_uuid_are_refused_and_reported)
{
    auto const service = find_entry(m.keyboard);
    EXPECT_EQ(IOCreatePlugInInterfaceForService(service.get(), kIOUSBDeviceUserClientTypeID, kIOCFPlugInInterfaceID,
                                                nullptr, &score),
              kIOReturnBadArgument);
    EXPECT_EQ(IOCreatePlugInInterfaceForService(service.get(), kIOUSBDeviceUserClientTypeID, kIOCFPlugInInterfaceID,
                                                &plugin, nullptr),
              kIOReturnBadArgument);
    EXPECT_EQ(IOCreatePlugInInterfaceForService(service.get(), nullptr, kIOCFPlugInInterfaceID, &plugin, &score),
              kIOReturnBadArgument);
    auto const not_a_uuid = string("9dc7b780-9ec0-11d4-a54f-000a27052861");
    EXPECT_EQ(IOCreatePlugInInterfaceForService(service.get(), kIOUSBDeviceUserClientTypeID,
                                                static_cast<CFUUIDRef>(not_a_uuid.get()), &plugin, &score),
              kIOReturnBadArgument);
    EXPECT_EQ(plugin, untouched);
    EXPECT_EQ(score, 1234);
    auto const reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 4u);
    EXPECT_NE(reports[0].find("IOCreatePlugInInterfaceForService: theInterface is NULL"), std::string::npos)
        << reports[0];
    EXPECT_NE(reports[1].find("theScore is NULL"), std::string::npos) << reports[1];
}

// A COM object of the program's own, counting its references.
struct counted_interface
{
    IOCFPlugInInterface table{};
    IOCFPlugInInterface* self = &table;
    ULONG references = 1;

    counted_interface()
    {
        table.Release = [](void* object) -> ULONG {
            auto* const owner = reinterpret_cast<counted_interface*>(reinterpret_cast<char*>(object) -
                                                                     offsetof(counted_interface, self));
            return --owner->references;
        };
    }
};

TEST_F(io_cf_plugin, destroying_an_interface_releases_it_once_and_null_is_reported)
{
    counted_interface object;
    EXPECT_EQ(IODestroyPlugInInterface(&object.self), kIOReturnSuccess);
    EXPECT_EQ(object.references, 0u);

    EXPECT_EQ(IODestroyPlugInInterface(nullptr), kIOReturnBadArgument);
    IOCFPlugInInterface* none = nullptr;
    EXPECT_EQ(IODestroyPlugInInterface(&none), kIOReturnBadArgument);
    EXPECT_EQ(take_misuse_reports().size(), 2u);
}

TEST_F(io_cf_plugin, the_plug_in_ids_are_the_constant_uuids_apple_gives)
{
    // A wrong byte in a macro would make the plug-in lookup fail on a Mac too.
    for (auto const& [uuid, expected] : std::vector<std::pair<CFUUIDRef, char const*>>{
             {kIOCFPlugInInterfaceID, "C244E858-109C-11D4-91D4-0050E4C6426F"},
             {kIOUSBDeviceUserClientTypeID, "9DC7B780-9EC0-11D4-A54F-000A27052861"},
             {kIOUSBInterfaceUserClientTypeID, "2D9786C6-9EF3-11D4-AD51-000A27052861"},
             {kIOUSBDeviceInterfaceID, "5C8187D0-9EF3-11D4-8B45-000A27052861"},
             {kIOHIDDeviceUserClientTypeID, "FA12FA38-6F1A-11D4-BA0C-0005028F18D5"},
             {IUnknownUUID, "00000000-0000-0000-C000-000000000046"}})
    {
        cf const text(CFUUIDCreateString(nullptr, uuid));
        EXPECT_EQ(text_of(text.get()), expected);
    }
}

} // namespace
