// Helpers for the tests of the simulated HID devices: device objects, user-client entries, values in their dictionaries.
#pragma once

#include "sim/control/registry.hpp"
#include "sim/io_registry_support.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

// Helpers for the tests of the simulated HID devices, read through IOKit as a
// program would: an IOHIDDeviceRef for an entry, the user clients below a device,
// and the values of the dictionaries those publish.
namespace plinth::testing::io {

// A new IOHIDDeviceRef for the entry with this ID; empty when it is no HID device.
inline cf device_of(sim::entry_id id)
{
    handle const service(IOServiceGetMatchingService(kIOMainPortDefault, IORegistryEntryIDMatching(id)));
    return cf(IOHIDDeviceCreate(kCFAllocatorDefault, service.get()));
}

inline IOHIDDeviceRef as_device(cf const& device)
{
    return device.as<IOHIDDeviceRef>();
}

// A value of a dictionary read as the CF type it should have; nothing when absent or of another type.
inline std::optional<std::int64_t> number_in(CFDictionaryRef dictionary, char const* key)
{
    auto const name = string(key);
    auto const value = CFDictionaryGetValue(dictionary, name.get());
    std::int64_t result = 0;
    if (value == nullptr || CFGetTypeID(value) != CFNumberGetTypeID() ||
        !CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &result))
        return std::nullopt;
    return result;
}

inline std::optional<bool> boolean_in(CFDictionaryRef dictionary, char const* key)
{
    auto const name = string(key);
    auto const value = CFDictionaryGetValue(dictionary, name.get());
    if (value == nullptr || CFGetTypeID(value) != CFBooleanGetTypeID())
        return std::nullopt;
    return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0;
}

// The entries below a HID device in the service plane, in registry order: one
// IOHIDLibUserClient for each client that has it open, ours or another process's.
inline std::vector<handle> user_client_entries(sim::entry_id device)
{
    std::vector<handle> found;
    handle iterator;
    EXPECT_EQ(IORegistryEntryGetChildIterator(find_entry(device).get(), kIOServicePlane, iterator.out()), KERN_SUCCESS);
    while (io_object_t const next = IOIteratorNext(iterator.get()))
        found.emplace_back(next);
    return found;
}

// A user client's DebugState, where it tells how its client opened the device and
// what its report queues hold; empty when it has none, or not as a dictionary.
inline cf debug_state(io_object_t user_client)
{
    auto state = property(user_client, "DebugState");
    if (!state || CFGetTypeID(state.get()) != CFDictionaryGetTypeID())
        return cf();
    return state;
}

} // namespace plinth::testing::io
