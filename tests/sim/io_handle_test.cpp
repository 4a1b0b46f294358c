// Tests of the simulated handles: references, dead names, wrong kinds, live counts.
#include "io_registry_support.hpp"

#include <IOKit/IOKitLib.h>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

using io_handle = plinth::testing::sim_test;

TEST_F(io_handle, one_name_per_entry_with_a_user_reference_per_return)
{
    handle const first(IORegistryGetRootEntry(kIOMainPortDefault));
    handle const second(IORegistryGetRootEntry(kIOMainPortDefault));
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_TRUE(IOObjectIsEqualTo(first.get(), second.get()));
    EXPECT_EQ(IOObjectGetUserRetainCount(first.get()), 2u);
    EXPECT_EQ(sim::live_handles(), 1u);

    EXPECT_EQ(IOObjectRetain(first.get()), KERN_SUCCESS);
    EXPECT_EQ(IOObjectGetUserRetainCount(first.get()), 3u);
    EXPECT_EQ(IOObjectRelease(first.get()), KERN_SUCCESS);
    EXPECT_EQ(IOObjectGetUserRetainCount(first.get()), 2u);
}

TEST_F(io_handle, a_released_name_is_dead_and_never_reused)
{
    auto const root = IORegistryGetRootEntry(kIOMainPortDefault);
    ASSERT_EQ(IOObjectRelease(root), KERN_SUCCESS);
    EXPECT_EQ(sim::live_handles(), 0u);

    handle const again(IORegistryGetRootEntry(kIOMainPortDefault));
    EXPECT_NE(again.get(), root) << "a new name, so that the stale one stays detectably dead";

    EXPECT_EQ(IOObjectRelease(root), KERN_INVALID_NAME);
    EXPECT_EQ(IOObjectRetain(root), KERN_INVALID_NAME);
    io_name_t name;
    EXPECT_EQ(IORegistryEntryGetName(root, name), MACH_SEND_INVALID_DEST);
    EXPECT_FALSE(IOObjectConformsTo(root, "IORegistryEntry"));
    EXPECT_EQ(IOObjectGetUserRetainCount(root), 0u);
    auto const reports = take_misuse_reports();
    ASSERT_EQ(reports.size(), 5u);
    EXPECT_NE(reports.front().find("IOObjectRelease"), std::string::npos) << reports.front();
}

TEST_F(io_handle, null_handles_fail_quietly_and_handles_of_the_wrong_kind_are_refused_and_reported)
{
    EXPECT_EQ(IOObjectRelease(IO_OBJECT_NULL), KERN_SUCCESS);
    EXPECT_EQ(IOObjectRetain(IO_OBJECT_NULL), KERN_SUCCESS);
    EXPECT_EQ(IOIteratorNext(IO_OBJECT_NULL), IO_OBJECT_NULL);
    EXPECT_EQ(IOObjectCopyClass(IO_OBJECT_NULL), nullptr);
    EXPECT_FALSE(IOObjectConformsTo(IO_OBJECT_NULL, "IOService"));
    io_name_t name;
    EXPECT_EQ(IORegistryEntryGetName(IO_OBJECT_NULL, name), MACH_SEND_INVALID_DEST);
    std::uint64_t id = 7;
    EXPECT_EQ(IORegistryEntryGetRegistryEntryID(IO_OBJECT_NULL, &id), MACH_SEND_INVALID_DEST);
    EXPECT_EQ(id, 0u);
    EXPECT_TRUE(take_misuse_reports().empty());

    // A handle of the wrong kind is refused and reported.
    handle const root(IORegistryGetRootEntry(kIOMainPortDefault));
    handle iterator;
    ASSERT_EQ(IORegistryEntryGetChildIterator(root.get(), kIOServicePlane, iterator.out()), KERN_SUCCESS);
    EXPECT_EQ(IOIteratorNext(root.get()), IO_OBJECT_NULL);
    EXPECT_EQ(IORegistryEntryGetName(iterator.get(), name), kIOReturnBadArgument);
    EXPECT_EQ(take_misuse_reports().size(), 2u);

    EXPECT_EQ(class_of(iterator.get()), "IOUserIterator");
    EXPECT_TRUE(IOObjectConformsTo(iterator.get(), "OSIterator"));
}

TEST_F(io_handle, a_removed_or_reset_entry_lives_on_while_a_handle_holds_it)
{
    auto const m = sample_machine::build();
    auto const keyboard = find_entry(m.keyboard);
    auto const xhc = find_entry(m.xhc);
    ASSERT_TRUE(keyboard);
    sim::remove_entry(m.keyboard);
    EXPECT_FALSE(sim::contains(m.keyboard));
    EXPECT_FALSE(sim::contains(m.hid)) << "its only child goes with it";
    EXPECT_TRUE(sim::contains(m.port));
    EXPECT_EQ(name_of(keyboard.get()), "Keyboard");
    EXPECT_FALSE(IORegistryEntryInPlane(keyboard.get(), kIOServicePlane));
    EXPECT_EQ(path_of(keyboard.get(), kIOServicePlane), "<no path>");
    EXPECT_EQ(text_property(keyboard.get(), "USB Product Name"), "Keyboard");

    sim::reset_registry();
    EXPECT_EQ(sim::entry_count(), 1u);
    EXPECT_EQ(id_of(xhc.get()), m.xhc);
    handle parent;
    EXPECT_EQ(IORegistryEntryGetParentEntry(xhc.get(), kIOServicePlane, parent.out()), kIOReturnNoDevice);
}

// Every IOKit call is counted; retain and release only change the task's references
// to a port name: calls, but no round trips to IOKit. A release of a dead name is
// still only that.
TEST_F(io_handle, every_call_is_counted_and_reference_counting_is_no_round_trip)
{
    sim::reset_call_count();
    {
        handle const root(IORegistryGetRootEntry(kIOMainPortDefault));
        IOObjectIsEqualTo(root.get(), root.get());
        name_of(root.get());
        EXPECT_EQ(sim::iokit_call_count(), 3u);
        EXPECT_EQ(sim::iokit_round_trip_count(), 3u);
        EXPECT_EQ(IOObjectRetain(root.get()), KERN_SUCCESS);
        EXPECT_EQ(IOObjectRelease(root.get()), KERN_SUCCESS);
        EXPECT_EQ(IOObjectGetUserRetainCount(root.get()), 1u);
    } // the handle's own release
    EXPECT_EQ(sim::iokit_call_count(), 7u);
    EXPECT_EQ(sim::iokit_round_trip_count(), 4u);

    EXPECT_NE(IOObjectRelease(0x4242), KERN_SUCCESS);
    EXPECT_EQ(sim::iokit_call_count(), 8u);
    EXPECT_EQ(sim::iokit_round_trip_count(), 4u);
    EXPECT_EQ(take_misuse_reports().size(), 1u);

    sim::reset_call_count();
    EXPECT_EQ(sim::iokit_call_count(), 0u);
    EXPECT_EQ(sim::iokit_round_trip_count(), 0u);
}

} // namespace
