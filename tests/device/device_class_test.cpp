// Tests of device_class matching: dictionaries asking for more than the class, missed subclasses, bad enumerators.
#include "device/apple/device_class.hpp"
#include "device/apple/tree.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace {

using plinth::apple::device;
using plinth::apple::make_matching;
using plinth::apple::io_kit::io_registry_entry;
using plinth::apple::io_kit::mach_port;
using device_class = device::device_class;
namespace sim = plinth::sim;

using device_class_test = plinth::testing::sim_test;

TEST_F(device_class_test, matching_asks_for_the_class_name_and_nothing_else)
{
    char const* const names[] = {"IOSerialBSDClient", "AppleUSBDevice", "IOVideoDevice",
                                 "IOAudioControl",    "IOHIDDevice",    "IOUSBHostDevice"};
    for (int v = 0; v < 6; ++v)
    {
        auto const c = static_cast<device_class>(v);
        auto const matching = make_matching(c);
        ASSERT_TRUE(matching.IsValid());
        EXPECT_EQ(matching.GetCount(), 1);
        EXPECT_EQ(CF::String(matching.GetValue(CF::String(CFSTR("IOProviderClass")))).GetValue(), names[v]);
        EXPECT_STREQ(plinth::apple::to_string(c), names[v]);
    }
}

TEST_F(device_class_test, matching_finds_every_service_of_the_class_and_its_subclasses)
{
    sim::load_bundled_registry();
    plinth::apple::tree const t(mach_port::master_port_default());
    auto const matching = make_matching(device_class::hid_device);
    auto it = t.next_layer().io_service_get_matching_services(matching);
    std::size_t found = 0;
    while (auto object = it.next())
    {
        device const d{io_registry_entry(std::move(object))};
        EXPECT_TRUE(d.conforms_to_class("IOHIDDevice")) << d.get_class();
        ++found;
    }
    EXPECT_GE(found, 3u) << "keyboard, mouse and the vendor-defined device";
    // The caller's dictionary survives the matching call and can be used again.
    EXPECT_TRUE(t.next_layer().io_service_get_matching_services(matching).next());
}

using device_class_death_test = device_class_test;

TEST_F(device_class_death_test, out_of_range_classes_terminate)
{
    EXPECT_DEATH((void)make_matching(static_cast<device_class>(6)), "has invalid value 6");
    EXPECT_DEATH((void)make_matching(static_cast<device_class>(-1)), "has invalid value -1");
}

} // namespace
