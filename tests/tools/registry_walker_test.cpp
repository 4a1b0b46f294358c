// The registry walker, path components and the text printer: what the walk costs and reads, and how ioreg's layout shows it.
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "property/value.hpp"
#include "support/sim_test.hpp"
#include "tools/plinth-ioreg/output/text_printer.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/registry/path_component.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace sim = plinth::sim;
namespace tool = plinth::ioreg_tool;
using plinth::plane;
using plinth::apple::tree;
using plinth::apple::io_kit::mach_port;

// A small machine: the platform, two buses, a device that both buses hold (as an
// entry with two providers) and a leaf below that device.
class registry_walker_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        platform_ = sim::add_entry({"IOPlatformExpertDevice", "J314sAP"}, sim::root_entry_id);
        bus_a_ = sim::add_entry({"IOPCIBridge", "pci-bridge", "1"}, platform_);
        bus_b_ = sim::add_entry({"IOPCIBridge", "pci-bridge", "2"}, platform_);
        sim::dictionary const properties{
            {"name", std::string("shared")},
            {"reg", sim::data{0x01, 0x02, 0xff}},
            {"built-in", true},
            {"wide", sim::number{-1, 64}},
            {"narrow", sim::number{-1, 32}},
            {"nested", sim::dictionary{{"inner", sim::make_number(7)}}},
        };
        shared_ = sim::add_entry({"IOPCIDevice", "shared", "0,1", properties}, bus_a_);
        sim::attach(shared_, bus_b_, "IOService");
        leaf_ = sim::add_entry({"IOUserClient", "client"}, shared_);
    }

    tool::tree_node walk(bool with_properties, tool::path_reading paths)
    {
        tree const registry(mach_port::master_port_default());
        auto const root = tool::find_root(registry);
        sim::reset_call_count();
        auto node = tool::registry_walker(plane::service, with_properties, paths).walk(root);
        calls_ = sim::iokit_call_count();
        round_trips_ = sim::iokit_round_trip_count();
        return node;
    }

    sim::entry_id platform_ = 0;
    sim::entry_id bus_a_ = 0;
    sim::entry_id bus_b_ = 0;
    sim::entry_id shared_ = 0;
    sim::entry_id leaf_ = 0;
    std::uint64_t calls_ = 0;
    std::uint64_t round_trips_ = 0;
};

void collect(tool::tree_node const& node, std::vector<tool::tree_node const*>& out)
{
    out.push_back(&node);
    for (auto const& child : node.children)
        collect(child, out);
}

std::vector<tool::tree_node const*> nodes_of(tool::tree_node const& root)
{
    std::vector<tool::tree_node const*> nodes;
    collect(root, nodes);
    return nodes;
}

plinth::property::value const& property(tool::tree_node const& node, std::string const& key)
{
    for (auto const& [name, value] : *node.properties)
        if (name == key)
            return value;
    throw std::out_of_range(key);
}

// A number as ioreg shows it: unsigned, at its own width.
std::uint64_t shown_number(plinth::property::value const& v)
{
    return std::get<plinth::property::number>(v.content).as_unsigned();
}

TEST_F(registry_walker_test, an_entry_with_two_parents_shows_under_each_with_its_subtree)
{
    auto const root = walk(true, tool::path_reading::skip);
    ASSERT_EQ(root.children.size(), 1u);
    auto const& platform = root.children[0];
    ASSERT_EQ(platform.children.size(), 2u);
    for (auto const& bus : platform.children)
    {
        ASSERT_EQ(bus.children.size(), 1u) << bus.summary.location.value_or("");
        auto const& shared = bus.children[0];
        EXPECT_EQ(shared.summary.id, shared_);
        EXPECT_EQ(shared.summary.location, "0,1");
        ASSERT_EQ(shared.children.size(), 1u);
        EXPECT_EQ(shared.children[0].summary.id, leaf_);
        EXPECT_FALSE(shared.children[0].summary.location);
    }
    EXPECT_EQ(tool::count_nodes(root), 8u);
}

// Each entry shown costs the step of the iterator that yields it, its path (which
// gives its name and location), ID and class, one dictionary of properties, and a
// child iterator made and drained: 7 round trips to IOKit, then 2 releases. The top
// entry is handed in, so it needs no step and no release; but the root has no path
// and the plane's top entry none that shows its name, so each of them asks for
// name and location as well. A property read again by key, or a name read apart
// from the path, would push the count up.
TEST_F(registry_walker_test, each_entry_costs_the_calls_that_showing_it_needs)
{
    auto const with_properties = walk(true, tool::path_reading::skip);
    auto const entries = tool::count_nodes(with_properties);
    EXPECT_EQ(calls_, 9 * entries - 2 + 2 + 2);
    EXPECT_EQ(round_trips_, 7 * entries - 1 + 2 + 2);

    auto const summaries_only = walk(false, tool::path_reading::skip);
    EXPECT_EQ(calls_, 8 * entries + 2);
    EXPECT_EQ(round_trips_, 6 * entries + 3);
    EXPECT_EQ(tool::count_nodes(summaries_only), entries);
}

TEST_F(registry_walker_test, paths_are_kept_only_when_asked_for_and_cost_nothing_more)
{
    auto const without = walk(false, tool::path_reading::skip);
    for (auto const* node : nodes_of(without))
        EXPECT_FALSE(node->summary.path) << node->summary.name;
    auto const calls_without = calls_;

    auto const with = walk(false, tool::path_reading::read);
    auto const nodes = nodes_of(with);
    EXPECT_EQ(calls_, calls_without);
    EXPECT_FALSE(nodes[0]->summary.path); // the root is in no plane's path
    EXPECT_EQ(nodes[1]->summary.path, "IOService:/");
    EXPECT_EQ(nodes[1]->summary.name, "J314sAP");
    // The shared device's path goes through its first provider, under both.
    for (auto const* node : nodes)
    {
        if (node->summary.id == shared_)
        {
            EXPECT_EQ(node->summary.path, "IOService:/pci-bridge@1/shared@0,1");
        }
        if (node->summary.id == leaf_)
        {
            EXPECT_EQ(node->summary.path, "IOService:/pci-bridge@1/shared@0,1/client");
        }
    }
}

// The walk's summaries must be what IOKit's name and location queries give,
// wherever the path cannot show them.
TEST_F(registry_walker_test, names_the_path_cannot_tell_apart_are_asked_for)
{
    // "mail@box@3": the last '@' would do here, but a location may hold '@' too.
    auto const at_sign = sim::add_entry({"IOService", "mail@box", "3"}, leaf_);
    // IOKit cuts names to io_name_t; the path keeps them whole.
    auto const long_name = sim::add_entry({"IOService", std::string(200, 'n'), "7"}, leaf_);
    // Deeper than io_string_t's 512 bytes: no path at all.
    auto deep = leaf_;
    for (int level = 0; level < 6; ++level)
        deep = sim::add_entry({"IOService", std::string(100, static_cast<char>('a' + level)), std::to_string(level)},
                              deep);

    auto const root = walk(false, tool::path_reading::read);
    for (auto const* node : nodes_of(root))
    {
        if (node->summary.id == at_sign)
        {
            EXPECT_EQ(node->summary.name, "mail@box");
            EXPECT_EQ(node->summary.location, "3");
            EXPECT_EQ(tool::format_header(node->summary).substr(0, 12), "mail@box@3  ");
        }
        if (node->summary.id == long_name)
        {
            EXPECT_EQ(node->summary.name, std::string(127, 'n'));
            EXPECT_EQ(node->summary.location, "7");
        }
        if (node->summary.id == deep)
        {
            EXPECT_FALSE(node->summary.path);
            EXPECT_EQ(node->summary.name, std::string(100, 'f'));
            EXPECT_EQ(node->summary.location, "5");
            EXPECT_TRUE(node->children.empty());
        }
    }
    EXPECT_EQ(tool::count_nodes(root), 8u + 2 * (2 + 6));
}

// A name with '@' in it and no location reads from the path as name@location, as
// IOKit's own path lookup reads it; the text listing shows the same line either way.
TEST_F(registry_walker_test, a_name_with_an_at_sign_and_no_location_prints_as_it_is)
{
    auto const entry = sim::add_entry({"IOService", "user@host"}, leaf_);
    auto const root = walk(false, tool::path_reading::skip);
    bool seen = false;
    for (auto const* node : nodes_of(root))
    {
        if (node->summary.id == entry)
        {
            seen = true;
            EXPECT_EQ(tool::format_header(node->summary),
                      "user@host  <class IOService, id " + tool::format_entry_id(entry) + ">");
        }
    }
    EXPECT_TRUE(seen);
}

TEST(last_path_component, reads_name_and_location_only_where_the_path_is_unambiguous)
{
    auto const named = tool::last_path_component("IOService:/AppleARMPE/arm-io@10F00000");
    ASSERT_TRUE(named);
    EXPECT_EQ(named->name, "arm-io");
    EXPECT_EQ(named->location, "10F00000");

    auto const unlocated = tool::last_path_component("IOService:/AppleARMPE/arm-io@10F00000/AppleT600xIO");
    ASSERT_TRUE(unlocated);
    EXPECT_EQ(unlocated->name, "AppleT600xIO");
    EXPECT_FALSE(unlocated->location);

    // The location keeps what follows its '@', ':' and ',' included.
    auto const pci = tool::last_path_component("IODeviceTree:/arm-io@10F00000/pcie@0:1,2");
    ASSERT_TRUE(pci);
    EXPECT_EQ(pci->name, "pcie");
    EXPECT_EQ(pci->location, "0:1,2");

    auto const empty_location = tool::last_path_component("IOService:/bus@");
    ASSERT_TRUE(empty_location);
    EXPECT_EQ(empty_location->location, "");

    EXPECT_FALSE(tool::last_path_component("IOService:/"));        // the plane's top
    EXPECT_FALSE(tool::last_path_component("IOService:/a/b@c@d")); // which '@' splits?
    EXPECT_FALSE(tool::last_path_component("IOService:/a/@3"));    // no name
    EXPECT_FALSE(tool::last_path_component("no plane"));           // not a path
    EXPECT_FALSE(tool::last_path_component("IOService:" + std::string(128, 'x')));
    EXPECT_FALSE(tool::last_path_component("IOService:/" + std::string(128, 'x')));
    EXPECT_FALSE(tool::last_path_component("IOService:/x@" + std::string(128, '1')));
    EXPECT_TRUE(tool::last_path_component("IOService:/" + std::string(127, 'x') + "@" + std::string(127, '1')));
}

TEST_F(registry_walker_test, properties_come_whole_from_the_one_dictionary)
{
    auto const root = walk(true, tool::path_reading::skip);
    auto const& shared = root.children[0].children[1].children[0];
    ASSERT_TRUE(shared.properties);
    EXPECT_EQ(shared.properties->size(), 6u);
    EXPECT_EQ(std::get<std::string>(property(shared, "name").content), "shared");
    EXPECT_EQ(std::get<plinth::property::data>(property(shared, "reg").content),
              (plinth::property::data{0x01, 0x02, 0xff}));
    EXPECT_TRUE(std::get<bool>(property(shared, "built-in").content));
    // Numbers at their own width and unsigned, as ioreg shows them.
    EXPECT_EQ(shown_number(property(shared, "wide")), UINT64_MAX);
    EXPECT_EQ(shown_number(property(shared, "narrow")), UINT32_MAX);
    auto const& nested = std::get<plinth::property::dictionary>(property(shared, "nested").content);
    ASSERT_EQ(nested.size(), 1u);
    EXPECT_EQ(shown_number(nested[0].second), 7u);
    // Entries without properties get an empty dictionary, not none.
    ASSERT_TRUE(shared.children[0].properties);
    EXPECT_TRUE(shared.children[0].properties->empty());
}

} // namespace
