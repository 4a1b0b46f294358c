// Tests of the loaders against real `ioreg` output from real machines.
#include "sim/control/loaders.hpp"

#include "sim/io_registry_support.hpp"
#include "sim/ioreg_test_support.hpp"
#include "support/scratch_folder.hpp"
#include "support/sim_test.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <set>
#include <string>

// The loaders against real `ioreg` output from real machines.
namespace {

namespace sim = plinth::sim;
namespace ioreg = plinth::testing::ioreg;
using namespace std::string_view_literals;

std::filesystem::path const shared_dir = PLINTH_SHARED_IOREG_DIR;

// The distinct entry IDs that a dump's tree lines show, counted independently of the reader.
std::size_t distinct_ids_in(std::string const& text)
{
    std::set<std::uint64_t> ids;
    for (std::size_t at = text.find(", id 0x"); at != std::string::npos; at = text.find(", id 0x", at + 1))
    {
        std::uint64_t id = 0;
        std::from_chars(text.data() + at + 7, text.data() + text.size(), id, 16);
        ids.insert(id);
    }
    return ids.size();
}

class ioreg_shared_dump : public plinth::testing::sim_test
{
protected:
    // Reads a shared dump, checking it against the IDs the file shows.
    static sim::dump read(std::string const& name)
    {
        auto const file = shared_dir / name;
        auto d = sim::read_dump_file(file);
        EXPECT_EQ(d.entries.size(), distinct_ids_in(plinth::testing::read_file(file))) << name;
        return d;
    }

    void SetUp() override
    {
        sim_test::SetUp();
        if (!std::filesystem::is_directory(shared_dir))
            GTEST_SKIP() << "no shared dumps at " << shared_dir;
    }
};

TEST_F(ioreg_shared_dump, every_dump_with_ids_loads_every_entry_below_the_root)
{
    int dumps = 0;
    for (auto const& file : std::filesystem::directory_iterator(shared_dir))
    {
        if (file.path().extension() != ".txt" ||
            plinth::testing::read_file(file.path()).find(", id 0x") == std::string::npos)
            continue;
        ++dumps;
        SCOPED_TRACE(file.path().filename().string());
        auto const d = read(file.path().filename().string());
        sim::reset_registry();
        sim::load_dump_file(file.path());
        auto const has_root = std::ranges::any_of(d.entries, [](auto const& e) { return e.id == sim::root_entry_id; });
        EXPECT_EQ(sim::entry_count(), d.entries.size() + (has_root ? 0 : 1));
        auto const all = plinth::testing::io::registry_iterator(d.plane.c_str());
        EXPECT_EQ(plinth::testing::io::drain_names(all.get()).size() + 1, sim::entry_count())
            << "every entry hangs below the root";
    }
    EXPECT_EQ(dumps, 3);
}

TEST_F(ioreg_shared_dump, macos13_full_listing_with_properties)
{
    auto const d = read("macos13-intel-hackintosh-ioreg-l.txt");
    EXPECT_EQ(d.entries.size(), 574u);
    EXPECT_EQ(d.tops, std::vector<sim::entry_id>{0x100000100});
    EXPECT_EQ(ioreg::entry(d, 0x100000100).name, "Root");
    EXPECT_EQ(ioreg::parents(d, 0x1000003b7), (std::vector<sim::entry_id>{0x10000040c, 0x100000411, 0x10000011a}));
    EXPECT_EQ(ioreg::parents(d, 0x10000034e), (std::vector<sim::entry_id>{0x1000001dd, 0x1000001de}));

    auto const& mc = ioreg::entry(d, 0x1000002b7);
    EXPECT_EQ(mc.class_name, "IOPCIDevice");
    EXPECT_EQ(mc.name, "MC");
    EXPECT_EQ(mc.location, "0");
    ASSERT_NE(ioreg::property(mc, "vendor-id"), nullptr);
    EXPECT_EQ(*ioreg::property(mc, "vendor-id"), sim::value(sim::data{0x86, 0x80, 0x00, 0x00}))
        << "0x8086, little-endian";
    EXPECT_EQ(*ioreg::property(mc, "compatible"),
              sim::value(ioreg::bytes("pci1028,c1d\0pci8086,a708\0pciclass,060000\0MC\0"sv)));

    auto const& webcam = ioreg::entry(d, 0x100000419);
    EXPECT_EQ(webcam.class_name, "IOUSBHostDevice");
    EXPECT_EQ(webcam.location, "14200000");
    EXPECT_EQ(*ioreg::property(webcam, "idVendor"), sim::value(sim::number{3141, 32}));
    EXPECT_EQ(*ioreg::property(webcam, "USB Product Name"), sim::value(std::string("Integrated_Webcam_FHD")));
    EXPECT_EQ(*ioreg::property(ioreg::entry(d, 0x100000429), "idVendor"), sim::value(sim::number{32903, 32}));
    EXPECT_EQ(*ioreg::property(ioreg::entry(d, 0x100000118), "IOPlatformMaxBusDelay"),
              sim::value(sim::array{sim::number{-1, 64}, sim::number{0, 32}}));
}

// ioreg printed "acpi-mmcfg-seg0" = 3221225472: a program that reads it as a
// long long, as ioreg does, must get that back, not a sign-extended 32-bit value.
TEST_F(ioreg_shared_dump, a_number_from_2_to_the_31_up_reads_back_as_ioreg_printed_it)
{
    sim::load_dump_file(shared_dir / "macos13-intel-hackintosh-ioreg-l.txt");
    auto const platform = plinth::testing::io::find_entry(0x100000118);
    ASSERT_TRUE(platform);
    auto const value = plinth::testing::io::property(platform.get(), "acpi-mmcfg-seg0");
    ASSERT_TRUE(value);
    long long printed = 0;
    EXPECT_TRUE(CFNumberGetValue(value.as<CFNumberRef>(), kCFNumberLongLongType, &printed));
    EXPECT_EQ(printed, 3221225472);
    EXPECT_EQ(CFNumberGetType(value.as<CFNumberRef>()), kCFNumberSInt64Type);
}

// The names of the services matching a class, as a Mac program finds them.
std::vector<std::string> services_of_class(char const* class_name)
{
    plinth::testing::io::handle iterator;
    EXPECT_EQ(IOServiceGetMatchingServices(kIOMainPortDefault, IOServiceMatching(class_name), iterator.out()),
              KERN_SUCCESS);
    auto names = plinth::testing::io::drain_names(iterator.get());
    std::ranges::sort(names);
    return names;
}

// The dump's PS/2 keyboard and mouse come from third-party drivers whose classes
// derive from IOHIDFamily's; matched by the family's classes, as on a Mac.
TEST_F(ioreg_shared_dump, third_party_driver_classes_match_as_the_family_classes_they_derive_from)
{
    sim::load_dump_file(shared_dir / "macos13-intel-hackintosh-ioreg-l.txt");
    EXPECT_EQ(services_of_class("IOHIKeyboard"), (std::vector<std::string>{"ApplePS2Keyboard"}));
    EXPECT_EQ(services_of_class("IOHIPointing"), (std::vector<std::string>{"ApplePS2Mouse"}));
    EXPECT_EQ(services_of_class("IOHIDDevice"),
              (std::vector<std::string>{"IOHIDKeyboardEventDevice", "IOHIDPointingEventDevice"}));
    EXPECT_EQ(services_of_class("ApplePS2Device"),
              (std::vector<std::string>{"ApplePS2KeyboardDevice", "ApplePS2MouseDevice"}));
}

// A user client is an entry like any other: a child of the service it was opened
// on, naming the process that made it.
TEST_F(ioreg_shared_dump, user_clients_load_as_children_of_their_service)
{
    sim::load_dump_file(shared_dir / "macos13-intel-hackintosh-ioreg-l.txt");
    auto const children = plinth::testing::io::child_names(0x1000003b7, "IOService");
    EXPECT_NE(std::ranges::find(children, "IOHIDUserClient"), children.end());
    auto const client = plinth::testing::io::find_entry(0x1000004fa);
    ASSERT_TRUE(client);
    EXPECT_TRUE(IOObjectConformsTo(client.get(), "IOUserClient"));
    EXPECT_EQ(plinth::testing::io::text_property(client.get(), "IOUserClientCreator"), "pid 147, WindowServer");
    EXPECT_EQ(plinth::testing::io::parent_names(0x1000004fa, "IOService"), (std::vector<std::string>{"IOHIDSystem"}));
}

TEST_F(ioreg_shared_dump, macos12_tree_without_properties)
{
    auto const d = read("macos12-qemu-macpro7,1-ioreg.txt");
    EXPECT_EQ(d.entries.size(), 351u);
    EXPECT_EQ(d.tops, std::vector<sim::entry_id>{0x100000100});
    EXPECT_EQ(ioreg::parents(d, 0x100000198), (std::vector<sim::entry_id>{0x1000001c6, 0x100000116}));
    // Printed twice under its one parent, the user client still hangs there once.
    EXPECT_EQ(ioreg::parents(d, 0x1000002c3), std::vector<sim::entry_id>{0x100000198});
    EXPECT_TRUE(std::ranges::all_of(d.entries, [](auto const& e) { return e.properties.empty(); }));
}

TEST_F(ioreg_shared_dump, pre_el_capitan_usb_matches_after_a_prompt_with_clipped_lines)
{
    auto const d = read("osx-pre10.11-imac-ioreg-Src-IOUSBDevice.txt");
    EXPECT_EQ(d.entries.size(), 74u);
    EXPECT_EQ(d.tops.size(), 12u) << "one top per match";
    EXPECT_EQ(d.tops.front(), 0x100000242u);

    auto const& receiver = ioreg::entry(d, 0x1000002a2);
    EXPECT_EQ(receiver.name, "IR Receiver");
    EXPECT_EQ(receiver.location, "4500000");
    EXPECT_EQ(*ioreg::property(receiver, "PortNum"), sim::value(sim::number{5, 32}));
    EXPECT_EQ(*ioreg::property(receiver, "locationID"), sim::value(sim::number{0x4500000, 32}));
    EXPECT_EQ(*ioreg::property(receiver, "non-removable"), sim::value(std::string("yes")));

    // The three clipped header lines were cut after the entry ID.
    EXPECT_EQ(ioreg::entry(d, 0x1000002f5).class_name, "BroadcomBluetoothHostControllerUSBTransport");
    EXPECT_EQ(ioreg::entry(d, 0x100000265).class_name, "com_apple_driver_AppleUSBCardReaderUMC");
    EXPECT_EQ(ioreg::entry(d, 0x100000270).class_name, "com_apple_driver_AppleUSBCardReaderSBC");
    EXPECT_EQ(ioreg::parents(d, 0x10000027e),
              (std::vector<sim::entry_id>{0x10000029f, 0x10000029e, 0x100000323, 0x100000324, 0x100000322}));
}

TEST_F(ioreg_shared_dump, class_chain_listings_are_not_registry_dumps)
{
    for (auto const* name :
         {"macos11-intel-t2-macbookair9,1-class-chains.txt", "macos11-m1-macbookair10,1-class-chains.txt",
          "macos13-m1pro-macbookpro18,3-class-chains.txt"})
    {
        auto const message = ioreg::dump_error_of([&] { sim::read_dump_file(shared_dir / name); });
        EXPECT_NE(message.find(name), std::string::npos) << message;
        EXPECT_NE(message.find(": line 1: this is a listing of class chains"), std::string::npos) << message;
    }
}

} // namespace
