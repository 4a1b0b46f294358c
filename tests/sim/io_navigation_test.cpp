// Tests of walking the simulated registry: children, parents, iterators, planes.
#include "io_registry_support.hpp"

#include <IOKit/IOKitLib.h>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

using io_navigation = sample_machine_test;

TEST_F(io_navigation, children_and_parents_in_attach_order_per_plane)
{
    EXPECT_EQ(child_names(sim::root_entry_id, kIOServicePlane), strings{"J274AP"});
    EXPECT_EQ(child_names(m.platform, kIOServicePlane), (strings{"AppleARMPE", "PCI0"}));
    EXPECT_EQ(child_names(m.pci, kIOServicePlane), (strings{"XHC1", "pci8086,a0ed", "Timer"}));
    EXPECT_EQ(child_names(sim::root_entry_id, kIOPowerPlane), strings{"IOPMrootDomain"});
    EXPECT_EQ(child_names(m.xhc, kIOUSBPlane), strings{"Keyboard"});
    EXPECT_EQ(child_names(m.keyboard, kIOPowerPlane), strings{});
    EXPECT_EQ(parent_names(m.keyboard, kIOPowerPlane), strings{"IOPMrootDomain"});
    EXPECT_EQ(parent_names(m.keyboard, kIOServicePlane), strings{"HS01"});
}

TEST_F(io_navigation, an_entry_with_two_parents_is_one_entry_under_both_and_goes_with_the_last)
{
    EXPECT_EQ(parent_names(m.timer, kIOServicePlane), (strings{"PCI0", "XHC1"}));
    EXPECT_EQ(child_names(m.xhc, kIOServicePlane), (strings{"HS01", "Timer"}));
    handle first_parent;
    ASSERT_EQ(IORegistryEntryGetParentEntry(find_entry(m.timer).get(), kIOServicePlane, first_parent.out()),
              KERN_SUCCESS);
    EXPECT_EQ(id_of(first_parent.get()), m.pci);

    sim::remove_entry(m.xhc);
    EXPECT_TRUE(sim::contains(m.timer)) << "its other parent holds it";
    EXPECT_FALSE(sim::contains(m.keyboard));
    EXPECT_EQ(parent_names(m.timer, kIOServicePlane), strings{"PCI0"});
    EXPECT_EQ(child_names(sim::root_entry_id, kIOUSBPlane), strings{});
    sim::remove_entry(m.pci);
    EXPECT_FALSE(sim::contains(m.timer)) << "both of its parents are gone";
}

TEST_F(io_navigation, no_parent_child_or_plane_is_a_null_handle)
{
    handle root(IORegistryGetRootEntry(kIOMainPortDefault));
    io_registry_entry_t found = 0xdead;
    EXPECT_EQ(IORegistryEntryGetParentEntry(root.get(), kIOServicePlane, &found), kIOReturnNoDevice);
    EXPECT_EQ(found, IO_OBJECT_NULL);
    found = 0xdead;
    EXPECT_EQ(IORegistryEntryGetChildEntry(find_entry(m.lpc).get(), kIOServicePlane, &found), kIOReturnNoDevice);
    EXPECT_EQ(found, IO_OBJECT_NULL);

    // An unknown plane is success without an iterator.
    io_iterator_t iterator = 0xdead;
    EXPECT_EQ(IORegistryEntryGetChildIterator(root.get(), "IONoSuchPlane", &iterator), KERN_SUCCESS);
    EXPECT_EQ(iterator, IO_OBJECT_NULL);
    iterator = 0xdead;
    EXPECT_EQ(IORegistryCreateIterator(kIOMainPortDefault, "IONoSuchPlane", 0, &iterator), KERN_SUCCESS);
    EXPECT_EQ(iterator, IO_OBJECT_NULL);

    // Being in a plane means having a parent there.
    auto const keyboard = find_entry(m.keyboard);
    EXPECT_TRUE(IORegistryEntryInPlane(keyboard.get(), kIOServicePlane));
    EXPECT_TRUE(IORegistryEntryInPlane(keyboard.get(), kIOPowerPlane));
    EXPECT_FALSE(IORegistryEntryInPlane(find_entry(m.lpc).get(), kIOUSBPlane));
    EXPECT_FALSE(IORegistryEntryInPlane(root.get(), kIOServicePlane));
}

TEST_F(io_navigation, a_plane_exists_once_a_link_names_it_and_an_unregistered_one_asks_for_any_plane)
{
    auto const lpc = find_entry(m.lpc);
    handle root(IORegistryGetRootEntry(kIOMainPortDefault));
    // No entry of this machine is in IODeviceTree or IOFireWire: the kernel finds no
    // such plane and answers whether the entry is attached anywhere.
    for (auto const* unregistered : {kIODeviceTreePlane, kIOFireWirePlane, "IONoSuchPlane"})
    {
        EXPECT_TRUE(IORegistryEntryInPlane(lpc.get(), unregistered)) << unregistered;
        EXPECT_FALSE(IORegistryEntryInPlane(root.get(), unregistered)) << "the root hangs nowhere";
        io_iterator_t iterator = 0xdead;
        EXPECT_EQ(IORegistryEntryGetChildIterator(root.get(), unregistered, &iterator), KERN_SUCCESS);
        EXPECT_EQ(iterator, IO_OBJECT_NULL) << unregistered;
    }

    sim::attach(m.lpc, sim::root_entry_id, kIODeviceTreePlane);
    EXPECT_FALSE(IORegistryEntryInPlane(find_entry(m.pci).get(), kIODeviceTreePlane)) << "registered now";
    EXPECT_TRUE(IORegistryEntryInPlane(lpc.get(), kIODeviceTreePlane));

    sim::reset_registry();
    EXPECT_FALSE(IORegistryEntryInPlane(root.get(), kIOServicePlane));
    io_iterator_t iterator = 0xdead;
    EXPECT_EQ(IORegistryEntryGetChildIterator(root.get(), kIOUSBPlane, &iterator), KERN_SUCCESS);
    EXPECT_EQ(iterator, IO_OBJECT_NULL) << "a fresh machine has the IOService plane alone";
}

TEST_F(io_navigation, names_and_locations_fall_back_from_plane_to_global)
{
    auto const keyboard = find_entry(m.keyboard);
    EXPECT_EQ(name_in_plane(keyboard.get(), kIOUSBPlane), "Keyboard");
    io_name_t text;
    ASSERT_EQ(IORegistryEntryGetLocationInPlane(keyboard.get(), kIOUSBPlane, text), KERN_SUCCESS);
    EXPECT_STREQ(text, "1");
    ASSERT_EQ(IORegistryEntryGetLocationInPlane(keyboard.get(), kIOServicePlane, text), KERN_SUCCESS);
    EXPECT_STREQ(text, "14100000");

    auto const arm_pe = find_entry(m.arm_pe);
    EXPECT_EQ(name_of(arm_pe.get()), "AppleARMPE") << "no name given: the class name";
    EXPECT_EQ(IORegistryEntryGetLocationInPlane(arm_pe.get(), kIOServicePlane, text), kIOReturnNotFound);

    std::string const long_name(300, 'n');
    auto const id = sim::add_entry({"IOService", long_name}, m.platform);
    EXPECT_EQ(name_of(find_entry(id).get()), long_name.substr(0, 127)) << "cut to an io_name_t";
}

TEST_F(io_navigation, a_recursive_registry_iterator_visits_each_entry_once_depth_first_while_the_registry_stays)
{
    auto const all = registry_iterator(kIOServicePlane);
    handle children;
    ASSERT_EQ(IORegistryEntryGetChildIterator(find_entry(m.pci).get(), kIOServicePlane, children.out()), KERN_SUCCESS);
    EXPECT_EQ(drain_names(all.get()), (strings{"J274AP", "AppleARMPE", "PCI0", "XHC1", "HS01", "Keyboard", "Keyboard",
                                               "Timer", "pci8086,a0ed"}));
    EXPECT_EQ(IOIteratorNext(all.get()), IO_OBJECT_NULL) << "exhausted stays exhausted";
    IOIteratorReset(all.get());
    EXPECT_EQ(drain_names(all.get()).size(), 9u);

    EXPECT_TRUE(IOIteratorIsValid(all.get()));
    sim::remove_entry(m.lpc);
    EXPECT_FALSE(IOIteratorIsValid(all.get())) << "the registry changed";
    EXPECT_TRUE(IOIteratorIsValid(children.get())) << "a child iterator is a copy";
    EXPECT_EQ(drain_names(children.get()), (strings{"XHC1", "pci8086,a0ed", "Timer"}));
    IOIteratorReset(all.get());
    EXPECT_TRUE(IOIteratorIsValid(all.get()));

    handle upwards;
    ASSERT_EQ(IORegistryEntryCreateIterator(find_entry(m.hid).get(), kIOServicePlane,
                                            kIORegistryIterateRecursively | kIORegistryIterateParents, upwards.out()),
              KERN_SUCCESS);
    EXPECT_EQ(drain_names(upwards.get()), (strings{"Keyboard", "HS01", "XHC1", "PCI0", "J274AP", "Root"}));
}

TEST_F(io_navigation, enter_and_exit_steer_a_flat_registry_iterator)
{
    handle iterator;
    ASSERT_EQ(IORegistryEntryCreateIterator(find_entry(m.platform).get(), kIOServicePlane, 0, iterator.out()),
              KERN_SUCCESS);
    handle first(IOIteratorNext(iterator.get()));
    handle pci(IOIteratorNext(iterator.get()));
    EXPECT_EQ(name_of(pci.get()), "PCI0");
    EXPECT_EQ(IORegistryIteratorEnterEntry(iterator.get()), KERN_SUCCESS);
    EXPECT_EQ(drain_names(iterator.get()), (strings{"XHC1", "pci8086,a0ed", "Timer"}));
    EXPECT_EQ(IORegistryIteratorExitEntry(iterator.get()), KERN_SUCCESS);
    EXPECT_EQ(IORegistryIteratorExitEntry(iterator.get()), kIOReturnNoDevice);
}

} // namespace
