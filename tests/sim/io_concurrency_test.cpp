// Tests of the simulated registry read while a writer changes it.
#include "io_registry_support.hpp"

#include <IOKit/IOKitLib.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

using io_concurrency = sample_machine_test;

// Readers walk, match and read properties while a writer adds and removes
// entries; run under ThreadSanitizer this proves the registry's locking.
TEST_F(io_concurrency, readers_and_a_writer_share_the_registry)
{
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};

    auto const reader = [&] {
        for (int round = 0; round < 200; ++round)
        {
            handle keyboard(IOServiceGetMatchingService(kIOMainPortDefault, IORegistryEntryIDMatching(m.keyboard)));
            if (!keyboard || path_of(keyboard.get(), kIOServicePlane).find("Keyboard") == std::string::npos)
                ++failures;
            if (number_property(keyboard.get(), "idVendor") != 0x05ac)
                ++failures;
            if (drain_names(registry_iterator(kIOServicePlane).get()).size() < 9)
                ++failures;
            cf const class_name(IOObjectCopyClass(keyboard.get()));
            if (text_of(class_name.get()) != "IOUSBHostDevice")
                ++failures;
            // Every reader holds the same name: its references are shared.
            IOObjectRetain(keyboard.get());
            IOObjectRelease(keyboard.get());
        }
    };
    auto const writer = [&] {
        while (!stop)
        {
            auto const extra = sim::add_entry({"IOService", "Extra"}, m.pci);
            sim::set_property(m.keyboard, "counter", sim::make_number(extra & 0xff));
            sim::remove_entry(extra);
        }
    };

    std::thread changes(writer);
    std::vector<std::thread> readers;
    for (int index = 0; index < 4; ++index)
        readers.emplace_back(reader);
    for (auto& thread : readers)
        thread.join();
    stop = true;
    changes.join();
    EXPECT_EQ(failures, 0);
}

} // namespace
