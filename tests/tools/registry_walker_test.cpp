#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "support/sim_test.hpp"
#include "tools/plinth-ioreg/entry_lookup.hpp"
#include "tools/plinth-ioreg/registry_walker.hpp"

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
        return node;
    }

    sim::entry_id platform_ = 0;
    sim::entry_id bus_a_ = 0;
    sim::entry_id bus_b_ = 0;
    sim::entry_id shared_ = 0;
    sim::entry_id leaf_ = 0;
    std::uint64_t calls_ = 0;
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

tool::property_value const& property(tool::tree_node const& node, std::string const& key)
{
    for (auto const& [name, value] : *node.properties)
        if (name == key)
            return value;
    throw std::out_of_range(key);
}

TEST_F(registry_walker_test, an_entry_with_two_parents_shows_under_each_with_its_subtree)
{
    auto const root = walk(true, tool::path_reading::skip);
    ASSERT_EQ(root.children.size(), 1u);
    auto const& platform = root.children[0];
    ASSERT_EQ(platform.children.size(), 2u);
    for (auto const& bus : platform.children) {
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

// Each entry shown costs the step of the iterator that yields it and its release,
// its ID, class, name and location, one dictionary of properties, and a child
// iterator made, drained and released; the top entry is handed in, so it needs no
// step and no release. A property read again by key, or a path nobody shows,
// would push the count up.
TEST_F(registry_walker_test, each_entry_costs_the_calls_that_showing_it_needs)
{
    auto const with_properties = walk(true, tool::path_reading::skip);
    auto const entries = tool::count_nodes(with_properties);
    EXPECT_EQ(calls_, 10 * entries - 2);

    auto const summaries_only = walk(false, tool::path_reading::skip);
    EXPECT_EQ(calls_, 9 * entries - 2);
    EXPECT_EQ(tool::count_nodes(summaries_only), entries);
}

TEST_F(registry_walker_test, paths_are_read_only_when_asked_for_and_are_iokits)
{
    auto const without = walk(false, tool::path_reading::skip);
    for (auto const* node : nodes_of(without))
        EXPECT_FALSE(node->summary.path) << node->summary.name;
    auto const calls_without = calls_;

    auto const with = walk(false, tool::path_reading::read);
    auto const nodes = nodes_of(with);
    EXPECT_EQ(calls_, calls_without + nodes.size());
    EXPECT_FALSE(nodes[0]->summary.path); // the root is in no plane's path
    EXPECT_EQ(nodes[1]->summary.path, "IOService:/");
    // The shared device's path goes through its first provider, under both.
    for (auto const* node : nodes) {
        if (node->summary.id == shared_) {
            EXPECT_EQ(node->summary.path, "IOService:/pci-bridge@1/shared@0,1");
        }
        if (node->summary.id == leaf_) {
            EXPECT_EQ(node->summary.path, "IOService:/pci-bridge@1/shared@0,1/client");
        }
    }
}

TEST_F(registry_walker_test, properties_come_whole_from_the_one_dictionary)
{
    auto const root = walk(true, tool::path_reading::skip);
    auto const& shared = root.children[0].children[1].children[0];
    ASSERT_TRUE(shared.properties);
    EXPECT_EQ(shared.properties->size(), 6u);
    EXPECT_EQ(std::get<std::string>(property(shared, "name").content), "shared");
    EXPECT_EQ(std::get<std::vector<std::byte>>(property(shared, "reg").content),
              (std::vector<std::byte>{std::byte{0x01}, std::byte{0x02}, std::byte{0xff}}));
    EXPECT_TRUE(std::get<bool>(property(shared, "built-in").content));
    // Numbers at their own width and unsigned, as ioreg shows them.
    EXPECT_EQ(std::get<std::uint64_t>(property(shared, "wide").content), UINT64_MAX);
    EXPECT_EQ(std::get<std::uint64_t>(property(shared, "narrow").content), UINT32_MAX);
    auto const& nested = std::get<tool::property_dictionary>(property(shared, "nested").content);
    ASSERT_EQ(nested.size(), 1u);
    EXPECT_EQ(std::get<std::uint64_t>(nested[0].second.content), 7u);
    // Entries without properties get an empty dictionary, not none.
    ASSERT_TRUE(shared.children[0].properties);
    EXPECT_TRUE(shared.children[0].properties->empty());
}

} // namespace
