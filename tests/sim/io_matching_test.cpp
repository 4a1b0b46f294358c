// Tests of matching dictionaries against the simulated registry.
#include "io_registry_support.hpp"

#include <IOKit/IOBSD.h>
#include <IOKit/IOKitLib.h>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

class io_matching : public sample_machine_test
{
protected:
    // The names of the services a dictionary matches; the dictionary is consumed.
    static strings matches(CFDictionaryRef matching)
    {
        handle iterator;
        EXPECT_EQ(IOServiceGetMatchingServices(kIOMainPortDefault, matching, iterator.out()), KERN_SUCCESS);
        return drain_names(iterator.get());
    }

    static CFMutableDictionaryRef with(CFMutableDictionaryRef matching, char const* key, CFTypeRef value)
    {
        CFDictionarySetValue(matching, string(key).get(), value);
        return matching;
    }

    static CFMutableDictionaryRef with(CFMutableDictionaryRef matching, char const* key, SInt64 value,
                                       CFNumberType type = kCFNumberSInt32Type)
    {
        cf const number(CFNumberCreate(nullptr, type, &value));
        return with(matching, key, number.get());
    }
};

TEST_F(io_matching, matching_dictionaries_have_apples_shape)
{
    auto const value_of = [](CFDictionaryRef matching, char const* key) {
        cf const owner(matching);
        return text_of(CFDictionaryGetValue(matching, string(key).get()));
    };
    EXPECT_EQ(value_of(IOServiceMatching("IOUSBHostDevice"), kIOProviderClassKey), "IOUSBHostDevice");
    EXPECT_EQ(value_of(IOServiceNameMatching("XHC1"), kIONameMatchKey), "XHC1");
    EXPECT_EQ(value_of(IOBSDNameMatching(kIOMainPortDefault, 0, "disk0"), kIOBSDNameKey), "disk0");
    cf const by_id(IORegistryEntryIDMatching(0x100000123));
    auto const id = CFDictionaryGetValue(by_id.as<CFDictionaryRef>(), CFSTR(kIORegistryEntryIDKey));
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(id)), kCFNumberSInt64Type);
}

TEST_F(io_matching, class_matching_follows_conformance_in_registry_order)
{
    EXPECT_EQ(matches(IOServiceMatching("IOPCIDevice")), (strings{"XHC1", "pci8086,a0ed"}));
    EXPECT_EQ(matches(IOServiceMatching("IOUSBDevice")), strings{"Keyboard"}) << "IOUSBHostDevice derives from it";
    EXPECT_EQ(matches(IOServiceMatching("IOHIDDevice")), strings{"Keyboard"});
    EXPECT_EQ(matches(IOServiceMatching("IOService")).size(), 9u) << "every service, the root excluded";
    EXPECT_EQ(matches(IOServiceMatching("AppleSharedTimer")), strings{"Timer"}) << "an unknown class is itself";
}

TEST_F(io_matching, no_match_is_success_without_an_iterator_and_a_bad_dictionary_is_refused_and_consumed)
{
    io_iterator_t iterator = 0xdead;
    EXPECT_EQ(IOServiceGetMatchingServices(kIOMainPortDefault, IOServiceMatching("IOSerialBSDClient"), &iterator),
              KERN_SUCCESS);
    EXPECT_EQ(iterator, IO_OBJECT_NULL);
    EXPECT_EQ(IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching("IOSerialBSDClient")), IO_OBJECT_NULL);
    EXPECT_EQ(IOServiceGetMatchingServices(kIOMainPortDefault, nullptr, &iterator), kIOReturnBadArgument);
    auto const not_a_dictionary = CFStringCreateWithCString(nullptr, "IOService", kCFStringEncodingUTF8);
    EXPECT_EQ(IOServiceGetMatchingServices(kIOMainPortDefault, reinterpret_cast<CFDictionaryRef>(not_a_dictionary),
                                           &iterator),
              kIOReturnBadArgument);
    EXPECT_EQ(iterator, IO_OBJECT_NULL);
}

TEST_F(io_matching, the_dictionary_loses_exactly_one_reference)
{
    auto const matching = IOServiceMatching("IOPCIDevice");
    CFRetain(matching);
    handle iterator;
    ASSERT_EQ(IOServiceGetMatchingServices(kIOMainPortDefault, matching, iterator.out()), KERN_SUCCESS);
    EXPECT_EQ(CFGetRetainCount(matching), 1);
    CFRetain(matching);
    handle const first(IOServiceGetMatchingService(kIOMainPortDefault, matching));
    EXPECT_EQ(name_of(first.get()), "XHC1");
    EXPECT_EQ(CFGetRetainCount(matching), 1);
    CFRelease(matching);
}

TEST_F(io_matching, by_registry_entry_id_name_and_bsd_name)
{
    handle const keyboard(IOServiceGetMatchingService(kIOMainPortDefault, IORegistryEntryIDMatching(m.keyboard)));
    EXPECT_EQ(id_of(keyboard.get()), m.keyboard);
    EXPECT_EQ(matches(IORegistryEntryIDMatching(0x1)), strings{});
    EXPECT_EQ(matches(IORegistryEntryIDMatching(m.power_root)), strings{}) << "not a service";

    EXPECT_EQ(matches(IOServiceNameMatching("HS01")), strings{"HS01"});
    sim::set_property(m.lpc, "compatible", sim::data{'p', 'c', 'i', '1', 0, 'l', 'p', 'c', 0});
    EXPECT_EQ(matches(IOServiceNameMatching("lpc")), strings{"pci8086,a0ed"});

    sim::set_property(m.hid, kIOBSDNameKey, std::string("hid0"));
    EXPECT_EQ(matches(IOBSDNameMatching(kIOMainPortDefault, 0, "hid0")), strings{"Keyboard"});
}

TEST_F(io_matching, property_match_is_a_subset_and_numbers_compare_by_their_bits)
{
    cf const subset(
        with(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks),
             "idVendor", 0x05ac));
    EXPECT_EQ(matches(with(IOServiceMatching("IOService"), kIOPropertyMatchKey, subset.get())), strings{"Keyboard"});
    EXPECT_EQ(matches(with(IOServiceMatching("IOUSBHostDevice"), "sessionID", 0x1234567890, kCFNumberSInt64Type)),
              strings{"Keyboard"});
    EXPECT_EQ(matches(with(IOServiceMatching("IOUSBHostDevice"), "idVendor", 0x05ad)), strings{});

    sim::set_property(m.lpc, "mask", sim::number{0xFFFFFFFF, 32});
    EXPECT_EQ(matches(with(IOServiceMatching("IOService"), "mask", -1)), strings{"pci8086,a0ed"});
    EXPECT_EQ(matches(with(IOServiceMatching("IOService"), "mask", -1, kCFNumberSInt64Type)), strings{});
}

TEST_F(io_matching, property_exists_hid_usage_pairs_and_parents)
{
    EXPECT_EQ(matches(with(IOServiceMatching("IOService"), kIOPropertyExistsMatchKey, CFSTR("vendor-id"))),
              strings{"XHC1"});
    auto const usage = [](SInt64 page, SInt64 usage_in_page) {
        return with(with(IOServiceMatching("IOHIDDevice"), "DeviceUsagePage", page), "DeviceUsage", usage_in_page);
    };
    EXPECT_EQ(matches(usage(12, 1)), strings{"Keyboard"}) << "a secondary usage pair matches";
    EXPECT_EQ(matches(usage(1, 2)), strings{});

    // A parent match looks up the provider chain.
    cf const parent(IOServiceMatching("IOPCIBridge"));
    EXPECT_EQ(matches(with(IOServiceMatching("IOHIDDevice"), kIOParentMatchKey, parent.get())), strings{"Keyboard"});
}

} // namespace
