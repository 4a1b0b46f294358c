// Tests of classes in the simulated registry: IOObjectGetClass, conformance, superclasses.
#include "io_registry_support.hpp"

#include <IOKit/IOKitLib.h>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

class io_class : public plinth::testing::sim_test
{
protected:
    static std::string superclass(char const* name)
    {
        cf const super(IOObjectCopySuperclassForClass(string(name).as<CFStringRef>()));
        return super ? text_of(super.get()) : "<none>";
    }
};

TEST_F(io_class, conformance_walks_the_built_in_chains)
{
    auto const id = sim::add_entry({"AppleUSBDevice", "Mouse"}, sim::root_entry_id);
    auto const mouse = find_entry(id);
    for (auto const* base :
         {"AppleUSBDevice", "IOUSBHostDevice", "IOUSBDevice", "IOService", "IORegistryEntry", "OSObject"})
        EXPECT_TRUE(IOObjectConformsTo(mouse.get(), base)) << base;
    EXPECT_FALSE(IOObjectConformsTo(mouse.get(), "IOUSBInterface"));
    EXPECT_FALSE(IOObjectConformsTo(mouse.get(), "IOUSBDev")) << "no prefix matching";

    EXPECT_EQ(superclass("IOUSBHostDevice"), "IOUSBDevice");
    EXPECT_EQ(superclass("IORegistryEntry"), "OSObject");
    EXPECT_EQ(superclass("OSObject"), "<none>");
    EXPECT_EQ(superclass("NoSuchClass"), "<none>");
}

TEST_F(io_class, the_class_name_override_shows_in_get_and_copy_class)
{
    auto const id = sim::add_entry(
        {"AppleUSBDevice", "Mouse", {}, {{"IOClassNameOverride", std::string("IOUSBDevice")}}, {}}, sim::root_entry_id);
    auto const mouse = find_entry(id);
    EXPECT_EQ(class_of(mouse.get()), "IOUSBDevice");
    cf const copied(IOObjectCopyClass(mouse.get()));
    EXPECT_EQ(text_of(copied.get()), "IOUSBDevice");
    EXPECT_TRUE(IOObjectConformsTo(mouse.get(), "AppleUSBDevice")) << "the real class still counts";

    auto const odd = sim::add_entry({"IOService", "Odd", {}, {{"IOClassNameOverride", std::string("Pretender")}}, {}},
                                    sim::root_entry_id);
    EXPECT_TRUE(IOObjectConformsTo(find_entry(odd).get(), "Pretender"));
}

TEST_F(io_class, unknown_classes_derive_from_io_service_in_the_service_plane_unless_added)
{
    auto const service = sim::add_entry({"VendorThing"}, sim::root_entry_id);
    auto const node =
        find_entry(sim::add_entry({"VendorNode"}, sim::root_entry_id, "IODeviceTree"), kIODeviceTreePlane);
    EXPECT_TRUE(IOObjectConformsTo(find_entry(service).get(), "IOService"));
    EXPECT_FALSE(IOObjectConformsTo(node.get(), "IOService"));
    EXPECT_TRUE(IOObjectConformsTo(node.get(), "IORegistryEntry"));

    sim::add_class("VendorHIDDevice", "IOHIDDevice");
    auto const id = sim::add_entry({"VendorHIDDevice"}, sim::root_entry_id);
    EXPECT_TRUE(IOObjectConformsTo(find_entry(id).get(), "IOHIDDevice"));
    EXPECT_EQ(superclass("VendorHIDDevice"), "IOHIDDevice");
    sim::reset_registry();
    EXPECT_EQ(superclass("VendorHIDDevice"), "<none>") << "a reset forgets added classes";
}

} // namespace
