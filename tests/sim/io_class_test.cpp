// Tests of classes in the simulated registry: IOObjectGetClass, conformance, superclasses, the undeclared variants.
#include "io_registry_support.hpp"

#include <IOKit/IOKitLib.h>

// The framework exports these without declaring them in any public header, so a
// program that calls them declares them itself, as here. Were an Apple-named header
// to declare them differently, this file would not compile.
extern "C" {
kern_return_t _IOObjectGetClass(io_object_t object, uint64_t options, io_name_t className);
CFStringRef _IOObjectCopyClass(io_object_t object, uint64_t options);
boolean_t _IOObjectConformsTo(io_object_t object, const io_name_t className, uint64_t options);
}

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

    // The options that ask for the real class, ignoring an "IOClassNameOverride".
    static constexpr uint64_t override_none = 0x1;

    static std::string class_with(io_object_t object, uint64_t options)
    {
        io_name_t name = {};
        return _IOObjectGetClass(object, options, name) == KERN_SUCCESS ? name : "<no class>";
    }

    static std::string copied_class_with(io_object_t object, uint64_t options)
    {
        cf const copied(_IOObjectCopyClass(object, options));
        return copied ? text_of(copied.get()) : "<none>";
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

TEST_F(io_class, the_undeclared_calls_ignore_the_override_only_when_asked)
{
    auto const id = sim::add_entry(
        {"AppleUSBDevice", "Mouse", {}, {{"IOClassNameOverride", std::string("IOUSBDevice")}}, {}}, sim::root_entry_id);
    auto const mouse = find_entry(id);
    EXPECT_EQ(class_with(mouse.get(), 0), "IOUSBDevice");
    EXPECT_EQ(copied_class_with(mouse.get(), 0), "IOUSBDevice");
    EXPECT_EQ(class_with(mouse.get(), override_none), "AppleUSBDevice");
    EXPECT_EQ(copied_class_with(mouse.get(), override_none), "AppleUSBDevice");

    auto const odd = find_entry(sim::add_entry(
        {"IOService", "Odd", {}, {{"IOClassNameOverride", std::string("Pretender")}}, {}}, sim::root_entry_id));
    EXPECT_TRUE(_IOObjectConformsTo(odd.get(), "Pretender", 0));
    EXPECT_FALSE(_IOObjectConformsTo(odd.get(), "Pretender", override_none)) << "only the real chain counts";
    EXPECT_TRUE(_IOObjectConformsTo(odd.get(), "IOService", override_none));
    EXPECT_TRUE(_IOObjectConformsTo(mouse.get(), "IOUSBHostDevice", override_none));
}

TEST_F(io_class, without_an_override_property_the_option_changes_nothing)
{
    auto const m = sample_machine::build();
    auto const keyboard = find_entry(m.keyboard);
    handle const root(IORegistryGetRootEntry(kIOMainPortDefault));
    handle iterator;
    ASSERT_EQ(IORegistryEntryGetChildIterator(root.get(), kIOServicePlane, iterator.out()), KERN_SUCCESS);
    for (auto const object : {keyboard.get(), root.get(), iterator.get()})
        for (auto const options : {uint64_t{0}, override_none})
        {
            EXPECT_EQ(class_with(object, options), class_of(object)) << options;
            EXPECT_EQ(copied_class_with(object, options), class_of(object)) << options;
        }
    EXPECT_EQ(class_with(keyboard.get(), override_none), "IOUSBHostDevice");
    EXPECT_EQ(class_with(iterator.get(), override_none), "IOUserIterator");
    for (auto const* name : {"IOUSBHostDevice", "IOUSBDevice", "IOService", "IOUSBInterface", "IOUSBDev"})
        for (auto const options : {uint64_t{0}, override_none})
            EXPECT_EQ(_IOObjectConformsTo(keyboard.get(), name, options), IOObjectConformsTo(keyboard.get(), name))
                << name << " " << options;
    EXPECT_TRUE(_IOObjectConformsTo(iterator.get(), "OSIterator", override_none));
}

TEST_F(io_class, options_zero_answer_as_the_public_calls_for_overridden_entries)
{
    auto const id = sim::add_entry(
        {"AppleUSBDevice", "Mouse", {}, {{"IOClassNameOverride", std::string("IOUSBDevice")}}, {}}, sim::root_entry_id);
    auto const mouse = find_entry(id);
    EXPECT_EQ(class_with(mouse.get(), 0), class_of(mouse.get()));
    cf const copied(IOObjectCopyClass(mouse.get()));
    EXPECT_EQ(copied_class_with(mouse.get(), 0), text_of(copied.get()));
    for (auto const* name : {"IOUSBDevice", "AppleUSBDevice", "IOUSBHostDevice", "IOUSBInterface"})
        EXPECT_EQ(_IOObjectConformsTo(mouse.get(), name, 0), IOObjectConformsTo(mouse.get(), name)) << name;
}

TEST_F(io_class, the_undeclared_calls_refuse_dead_handles_and_null_names_and_report_them)
{
    auto const root = IORegistryGetRootEntry(kIOMainPortDefault);
    ASSERT_EQ(IOObjectRelease(root), KERN_SUCCESS);
    io_name_t name = "untouched";
    EXPECT_EQ(_IOObjectGetClass(root, override_none, name), MACH_SEND_INVALID_DEST);
    EXPECT_STREQ(name, "untouched");
    EXPECT_EQ(_IOObjectCopyClass(root, override_none), nullptr);
    EXPECT_FALSE(_IOObjectConformsTo(root, "IORegistryEntry", override_none));
    auto reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_NE(reports[0].find("_IOObjectGetClass"), std::string::npos) << reports[0];
    EXPECT_NE(reports[1].find("_IOObjectCopyClass"), std::string::npos) << reports[1];
    EXPECT_NE(reports[2].find("_IOObjectConformsTo"), std::string::npos) << reports[2];

    handle const live(IORegistryGetRootEntry(kIOMainPortDefault));
    EXPECT_EQ(_IOObjectGetClass(live.get(), 0, nullptr), kIOReturnBadArgument);
    EXPECT_EQ(IOObjectGetClass(live.get(), nullptr), kIOReturnBadArgument);
    EXPECT_FALSE(_IOObjectConformsTo(live.get(), nullptr, override_none));
    reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 3u);
    EXPECT_NE(reports[0].find("_IOObjectGetClass: className is NULL"), std::string::npos) << reports[0];
    EXPECT_NE(reports[1].find("IOObjectGetClass: className is NULL"), std::string::npos) << reports[1];
    EXPECT_NE(reports[2].find("_IOObjectConformsTo: className is NULL"), std::string::npos) << reports[2];

    // A null handle is how callers say "none": refused quietly.
    EXPECT_EQ(_IOObjectGetClass(IO_OBJECT_NULL, 0, name), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(_IOObjectCopyClass(IO_OBJECT_NULL, 0), nullptr);
    EXPECT_FALSE(_IOObjectConformsTo(IO_OBJECT_NULL, "OSObject", 0));
}

} // namespace
