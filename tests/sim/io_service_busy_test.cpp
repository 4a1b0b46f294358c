// Tests of the simulated services' state: IOServiceGetBusyState, IOServiceWaitQuiet, IOServiceGetBusyStateAndTime.
#include "io_registry_support.hpp"

#include "sim/control/loaders.hpp"

#include <IOKit/IOKitLib.h>

#include <cstdint>

// The framework exports this without declaring it in any public header; a program
// that calls it declares it itself, as here.
extern "C" kern_return_t IOServiceGetBusyStateAndTime(io_service_t service, uint64_t* state, uint32_t* busy_state,
                                                      uint64_t* accumulated_busy_time);

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

// The kernel's IOService state bits.
constexpr uint64_t inactive_state = 0x1;
constexpr uint64_t registered_matched_and_published = 0x2 | 0x4 | 0x8 | 0x10;

struct service_state
{
    kern_return_t result = KERN_FAILURE;
    uint64_t state = 0xbad;
    uint32_t busy = 0xbad;
    uint64_t busy_time = 0xbad;
};

service_state state_of(io_service_t service)
{
    service_state s;
    s.result = IOServiceGetBusyStateAndTime(service, &s.state, &s.busy, &s.busy_time);
    return s;
}

class io_service_busy : public sample_machine_test
{
};

TEST_F(io_service_busy, every_service_of_the_simulated_machine_is_quiet)
{
    for (auto const id : {m.platform, m.xhc, m.keyboard, m.hid})
    {
        auto const service = find_entry(id);
        uint32_t busy = 0xbad;
        EXPECT_EQ(IOServiceGetBusyState(service.get(), &busy), KERN_SUCCESS);
        EXPECT_EQ(busy, 0u);
        mach_timespec_t no_time = {0, 0};
        EXPECT_EQ(IOServiceWaitQuiet(service.get(), &no_time), KERN_SUCCESS) << "no wait is needed";
        EXPECT_EQ(IOServiceWaitQuiet(service.get(), nullptr), KERN_SUCCESS) << "waiting for ever returns at once";

        auto const s = state_of(service.get());
        EXPECT_EQ(s.result, KERN_SUCCESS);
        EXPECT_EQ(s.state, registered_matched_and_published);
        EXPECT_EQ(s.busy, 0u);
        EXPECT_EQ(s.busy_time, 0u);
    }
}

TEST_F(io_service_busy, a_service_that_left_the_registry_is_inactive)
{
    auto const keyboard = find_entry(m.keyboard);
    sim::remove_entry(m.keyboard);
    auto const s = state_of(keyboard.get());
    EXPECT_EQ(s.result, KERN_SUCCESS);
    EXPECT_EQ(s.state, inactive_state);
    EXPECT_EQ(s.busy, 0u);
    uint32_t busy = 0xbad;
    EXPECT_EQ(IOServiceGetBusyState(keyboard.get(), &busy), KERN_SUCCESS);
    EXPECT_EQ(busy, 0u);
}

TEST_F(io_service_busy, objects_that_are_no_service_are_refused_and_reported)
{
    handle const root(IORegistryGetRootEntry(kIOMainPortDefault));
    auto const node =
        find_entry(sim::add_entry({"VendorNode"}, sim::root_entry_id, kIODeviceTreePlane), kIODeviceTreePlane);
    handle iterator;
    ASSERT_EQ(IORegistryEntryGetChildIterator(root.get(), kIOServicePlane, iterator.out()), KERN_SUCCESS);
    for (auto const object : {root.get(), node.get(), iterator.get()})
    {
        uint32_t busy = 0xbad;
        EXPECT_EQ(IOServiceGetBusyState(object, &busy), kIOReturnBadArgument);
        EXPECT_EQ(busy, 0xbadu) << "nothing is written";
        EXPECT_EQ(IOServiceWaitQuiet(object, nullptr), kIOReturnBadArgument);
        EXPECT_EQ(state_of(object).result, kIOReturnBadArgument);
    }
    auto const reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 9u);
    EXPECT_NE(reports[0].find("IOServiceGetBusyState: handle"), std::string::npos) << reports[0];
    EXPECT_NE(reports[0].find("is not an IOService"), std::string::npos) << reports[0];
    EXPECT_NE(reports[1].find("IOServiceWaitQuiet"), std::string::npos) << reports[1];
    EXPECT_NE(reports[2].find("IOServiceGetBusyStateAndTime"), std::string::npos) << reports[2];
    EXPECT_NE(reports[8].find("is not a registry entry"), std::string::npos) << reports[8];
}

TEST_F(io_service_busy, dead_handles_are_reported_and_null_handles_refused_quietly)
{
    auto const xhc = find_entry(m.xhc).get(); // released with its owner at once: a dead name
    uint32_t busy = 0xbad;
    EXPECT_EQ(IOServiceGetBusyState(xhc, &busy), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(IOServiceWaitQuiet(xhc, nullptr), MACH_SEND_INVALID_DEST);
    auto const s = state_of(xhc);
    EXPECT_EQ(s.result, MACH_SEND_INVALID_DEST);
    EXPECT_EQ(s.state, 0xbadu);
    EXPECT_EQ(take_misuse_reports().size(), 3u);

    EXPECT_EQ(IOServiceGetBusyState(IO_OBJECT_NULL, &busy), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(IOServiceWaitQuiet(IO_OBJECT_NULL, nullptr), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(state_of(IO_OBJECT_NULL).result, MACH_SEND_INVALID_DEST);
    EXPECT_EQ(busy, 0xbadu);
}

TEST_F(io_service_busy, null_answer_pointers_are_refused_and_reported)
{
    auto const service = find_entry(m.keyboard);
    uint64_t state = 0;
    uint32_t busy = 0;
    uint64_t time = 0;
    EXPECT_EQ(IOServiceGetBusyState(service.get(), nullptr), kIOReturnBadArgument);
    EXPECT_EQ(IOServiceGetBusyStateAndTime(service.get(), nullptr, &busy, &time), kIOReturnBadArgument);
    EXPECT_EQ(IOServiceGetBusyStateAndTime(service.get(), &state, nullptr, &time), kIOReturnBadArgument);
    EXPECT_EQ(IOServiceGetBusyStateAndTime(service.get(), &state, &busy, nullptr), kIOReturnBadArgument);
    auto const reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 4u);
    EXPECT_NE(reports[0].find("IOServiceGetBusyState: busyState is NULL"), std::string::npos) << reports[0];
    EXPECT_NE(reports[1].find("state is NULL"), std::string::npos) << reports[1];
    EXPECT_NE(reports[2].find("busy_state is NULL"), std::string::npos) << reports[2];
    EXPECT_NE(reports[3].find("accumulated_busy_time is NULL"), std::string::npos) << reports[3];
}

// ioreg prints each entry's busy count at the time of the dump; the loaders keep
// only names, classes, IDs and properties, so a loaded service is quiet.
TEST_F(io_service_busy, services_loaded_from_a_text_dump_are_quiet_whatever_it_printed)
{
    sim::reset_registry();
    sim::merge(sim::read_ioreg_text(
        "+-o Root  <class IORegistryEntry, id 0x100000100, retain 30>\n"
        "  +-o Mac14,2  <class IOPlatformExpertDevice, id 0x100000118, registered, matched, active, busy 2 (90 ms), "
        "retain 40>\n"));
    auto const platform = find_entry(0x100000118);
    ASSERT_TRUE(platform);
    uint32_t busy = 0xbad;
    EXPECT_EQ(IOServiceGetBusyState(platform.get(), &busy), KERN_SUCCESS);
    EXPECT_EQ(busy, 0u);
}

} // namespace
