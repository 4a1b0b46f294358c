// Tests of the control interface: building, changing and merging the simulated registry.
#include "io_registry_support.hpp"

#include <IOKit/IOKitLib.h>

#include "sim/control/loaders.hpp"

#include <stdexcept>
#include <string>

using namespace plinth::testing::io;
namespace sim = plinth::sim;

namespace {

class io_control : public plinth::testing::sim_test
{
protected:
    static sim::dump service_dump()
    {
        return {
            "IOService",
            {{sim::root_entry_id, "IORegistryEntry", "Root", {}, {{"IOKitBuildVersion", std::string("Darwin")}}, {}},
             {0x100000200, "IOPlatformExpertDevice", "Macmini9,1", {}, {}, {}},
             {0x100000201,
              "AppleVendorBridge",
              "bridge",
              std::string("3"),
              {{"a", sim::make_number(1)}},
              {"AppleVendorBridge", "IOPCIBridge", "IOService", "IORegistryEntry", "OSObject"}},
             {0x100000202, "IOService", "shared", {}, {}, {}}},
            {{sim::root_entry_id, 0x100000200},
             {0x100000200, 0x100000201},
             {0x100000200, 0x100000202},
             {0x100000201, 0x100000202}},
            {sim::root_entry_id}};
    }
};

TEST_F(io_control, add_entry_and_attach_refuse_what_a_registry_cannot_hold)
{
    EXPECT_THROW(sim::add_entry({"IOService"}, 0x42), std::invalid_argument);
    auto const a = sim::add_entry({"IOService", "A"}, sim::root_entry_id);
    EXPECT_THROW(sim::add_entry({"IOService", "Again", {}, {}, a}, sim::root_entry_id), std::invalid_argument);
    EXPECT_THROW(sim::add_entry({"", "Classless"}, sim::root_entry_id), std::invalid_argument);
    auto const b = sim::add_entry({"IOService", "B"}, a);
    EXPECT_THROW(sim::attach(a, b, "IOService"), std::invalid_argument) << "a loop";
    EXPECT_THROW(sim::remove_entry(sim::root_entry_id), std::invalid_argument);
    EXPECT_THROW(sim::set_property(0x42, "k", true), std::invalid_argument);
    EXPECT_NE(a, b);
    EXPECT_EQ(sim::entry_count(), 3u);
}

TEST_F(io_control, merge_adds_entries_links_properties_and_class_chains)
{
    sim::merge(service_dump());
    EXPECT_EQ(sim::entry_count(), 4u);
    auto const bridge = find_entry(0x100000201);
    EXPECT_EQ(path_of(bridge.get(), kIOServicePlane), "IOService:/bridge@3");
    EXPECT_TRUE(IOObjectConformsTo(bridge.get(), "IOPCIBridge")) << "the dump's chain joins the class table";
    EXPECT_EQ(parent_names(0x100000202, kIOServicePlane), (strings{"Macmini9,1", "bridge"}));
    handle const root(IORegistryGetRootEntry(kIOMainPortDefault));
    EXPECT_EQ(text_property(root.get(), "IOKitBuildVersion"), "Darwin") << "the dump's Root is the registry's root";

    // A second plane of the same machine: same IDs, its own names and links.
    sim::merge({"IOPower",
                {{0x100000201, "AppleVendorBridge", "bridge-power", std::string("3"), {{"b", true}}, {}}},
                {},
                {0x100000201}});
    EXPECT_EQ(sim::entry_count(), 4u);
    EXPECT_EQ(name_in_plane(bridge.get(), kIOPowerPlane), "bridge-power");
    EXPECT_EQ(name_of(bridge.get()), "bridge");
    EXPECT_EQ(path_of(bridge.get(), kIOPowerPlane), "IOPower:/");
    EXPECT_TRUE(property(bridge.get(), "a")) << "properties merge";

    sim::merge(service_dump());
    EXPECT_EQ(parent_names(0x100000202, kIOServicePlane).size(), 2u) << "merging twice adds no links";
}

TEST_F(io_control, the_service_planes_name_is_the_global_one_whatever_the_merge_order)
{
    sim::merge({"IODeviceTree",
                {{0x100000200, "IOPlatformExpertDevice", "/", {}, {}, {}},
                 {0x100000201, "IOPCIDevice", "pci-bridge", std::string("1c"), {}, {}}},
                {{0x100000200, 0x100000201}},
                {0x100000200}});
    sim::merge(service_dump());

    auto const platform = find_entry(0x100000200);
    EXPECT_EQ(name_of(platform.get()), "Macmini9,1");
    EXPECT_EQ(name_in_plane(platform.get(), kIODeviceTreePlane), "/");
    auto const bridge = find_entry(0x100000201);
    EXPECT_EQ(path_of(bridge.get(), kIODeviceTreePlane), "IODeviceTree:/pci-bridge@1c");
    EXPECT_EQ(path_of(bridge.get(), kIOServicePlane), "IOService:/bridge@3");
}

TEST_F(io_control, a_dump_with_a_dangling_link_changes_nothing)
{
    auto d = service_dump();
    d.links.emplace_back(0x100000201, 0x1000009ff);
    EXPECT_THROW(sim::merge(d), std::invalid_argument);
    EXPECT_EQ(sim::entry_count(), 1u);
}

// A dump or a control call that would hang the root below another entry, or link
// any loop, is refused whole: walking up from any entry must end.
TEST_F(io_control, a_loop_through_the_root)
{
    sim::merge(service_dump());
    auto const unchanged = [] {
        EXPECT_EQ(sim::entry_count(), 4u);
        EXPECT_TRUE(parent_names(sim::root_entry_id, kIOServicePlane).empty());
        EXPECT_EQ(parent_names(0x100000200, kIOServicePlane), strings{"Root"});
        EXPECT_FALSE(sim::contains(0x100000300));
    };

    // The loaders refuse such a dump before anything is merged.
    EXPECT_THROW(sim::read_ioreg_text("+-o shared  <class IOService, id 0x100000202, retain 4>\n"
                                      "  +-o Root  <class IORegistryEntry, id 0x100000100, retain 9>\n"
                                      "  +-o Extra  <class IOService, id 0x100000300, retain 4>\n"),
                 sim::dump_error)
        << "text dump";
    unchanged();

    EXPECT_THROW(
        sim::read_ioreg_xml(
            "<plist version=\"1.0\"><dict><key>IOObjectClass</key><string>IOService</string>"
            "<key>IORegistryEntryID</key><integer>4294968064</integer>" // 0x100000300
            "<key>IORegistryEntryChildren</key><array><dict><key>IOObjectClass</key><string>IORegistryEntry</string>"
            "<key>IORegistryEntryID</key><integer>4294967552</integer></dict></array></dict></plist>"), // the root
        sim::dump_error)
        << "XML dump";
    unchanged();

    EXPECT_THROW(sim::attach(sim::root_entry_id, 0x100000202, "IOService"), std::invalid_argument);
    EXPECT_THROW(sim::attach(sim::root_entry_id, 0x100000202, "IODeviceTree"), std::invalid_argument)
        << "the root hangs below nothing even in a plane where no loop would close";
    EXPECT_THROW(sim::merge({"IOService", {}, {{0x100000201, sim::root_entry_id}}, {}}), std::invalid_argument);
    unchanged();
}

// The loop a dump closes may run through entries an earlier dump brought, which
// the reader of the later dump cannot see.
TEST_F(io_control, a_loop_through_entries_already_in_the_registry)
{
    sim::merge(service_dump());
    sim::dump const closing{"IOService",
                            {{0x100000300, "IOService", "new", {}, {}, {}}},
                            {{0x100000202, 0x100000300}, {0x100000300, 0x100000200}},
                            {}};
    try
    {
        sim::merge(closing);
        ADD_FAILURE() << "the loop was merged";
    }
    catch (std::invalid_argument const& e)
    {
        EXPECT_NE(std::string(e.what()).find("closes a loop in IOService"), std::string::npos) << e.what();
    }
    EXPECT_FALSE(sim::contains(0x100000300)) << "nothing of the dump is merged";
    EXPECT_EQ(parent_names(0x100000200, kIOServicePlane), strings{"Root"});

    // Two new entries that hold each other up, with nothing above them.
    EXPECT_THROW(sim::merge({"IOPower",
                             {{0x100000301, "IOService", "a", {}, {}, {}}, {0x100000302, "IOService", "b", {}, {}, {}}},
                             {{0x100000301, 0x100000302}, {0x100000302, 0x100000301}},
                             {}}),
                 std::invalid_argument);
    EXPECT_THROW(sim::merge({"IOPower", {}, {{0x100000201, 0x100000201}}, {}}), std::invalid_argument) << "itself";
    EXPECT_EQ(sim::entry_count(), 4u);

    // The same links in another plane close no loop.
    sim::merge({"IOPower", {}, {{0x100000202, 0x100000200}}, {0x100000202}});
    EXPECT_EQ(parent_names(0x100000200, kIOPowerPlane), strings{"shared"});
}

// Loading grows with the size of the dump, not its square: an entry with a hundred
// thousand properties loads, and a lookup finds the last one.
TEST_F(io_control, a_hundred_thousand_properties)
{
    constexpr int count = 100'000;
    std::string text = "+-o Root  <class IORegistryEntry, id 0x100000100, retain 4>\n"
                       "    {\n";
    for (int i = 0; i < count; ++i)
        text += "      \"key" + std::to_string(i) + "\" = " + std::to_string(i) + "\n";
    text += "    }\n";
    sim::merge(sim::read_ioreg_text(text));

    handle const root(IORegistryGetRootEntry(kIOMainPortDefault));
    EXPECT_EQ(number_property(root.get(), "key99999"), 99'999);
    EXPECT_EQ(number_property(root.get(), "key0"), 0);
    sim::set_property(sim::root_entry_id, "key0", std::string("replaced"));
    sim::remove_property(sim::root_entry_id, "key1");
    EXPECT_EQ(text_property(root.get(), "key0"), "replaced");
    EXPECT_FALSE(property(root.get(), "key1"));
    EXPECT_EQ(number_property(root.get(), "key99998"), 99'998);
}

// As many entries at the top of an `ioreg -a -r` dump each hang under the root.
TEST_F(io_control, a_hundred_thousand_top_level_entries)
{
    constexpr std::uint64_t count = 100'000;
    constexpr std::uint64_t first = 0x100000200;
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<array>\n";
    for (std::uint64_t id = first; id < first + count; ++id)
        xml += "<dict><key>IOObjectClass</key><string>IOService</string><key>IORegistryEntryID</key><integer>" +
               std::to_string(id) + "</integer><key>n</key><integer>" + std::to_string(id - first) +
               "</integer></dict>\n";
    xml += "</array>\n</plist>\n";
    sim::merge(sim::read_ioreg_xml(xml));

    EXPECT_EQ(sim::entry_count(), count + 1);
    auto const last = find_entry(first + count - 1);
    EXPECT_EQ(number_property(last.get(), "n"), static_cast<std::int64_t>(count - 1));
    EXPECT_EQ(parent_names(first + count - 1, kIOServicePlane), strings{"Root"});
}

} // namespace
