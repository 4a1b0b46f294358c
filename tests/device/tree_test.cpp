// Tests of tree: unreachable entries, paths or IDs not leading back to their entry, races between query threads.
#include "device/apple/tree.hpp"
#include "support/sim_test.hpp"

#include <boost/system/system_error.hpp>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using plinth::plane;
using plinth::apple::device;
using plinth::apple::tree;
using plinth::apple::io_kit::io_registry_entry;
using plinth::apple::io_kit::mach_port;
namespace sim = plinth::sim;

constexpr plane all_planes[] = {plane::service, plane::power,    plane::device_tree,
                                plane::audio,   plane::firewire, plane::usb};

std::vector<device> children_of(device const& d, plane p)
{
    std::vector<device> result;
    auto it = d.get_children(p);
    while (auto object = it.next())
        result.emplace_back(io_registry_entry(std::move(object)));
    return result;
}

// Every entry reachable from `from` in `p`, each once, depth first in registry order.
void collect(device const& from, plane p, std::set<std::uint64_t>& seen, std::vector<device>& out)
{
    for (auto& child : children_of(from, p))
    {
        if (seen.insert(child.get_id()).second)
        {
            out.push_back(child);
            collect(child, p, seen, out);
        }
    }
}

class tree_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        sim::load_bundled_registry();
    }

    std::vector<device> reachable(plane p) const
    {
        std::set<std::uint64_t> seen;
        std::vector<device> out;
        collect(registry_.get_root_node(), p, seen, out);
        return out;
    }

    tree registry_{mach_port::master_port_default()};
};

TEST_F(tree_test, every_entry_is_reachable_from_the_root_in_its_planes)
{
    std::set<std::uint64_t> everywhere = {registry_.get_root_node().get_id()};
    for (auto p : all_planes)
    {
        for (auto const& d : reachable(p))
        {
            EXPECT_TRUE(d.is_in_plane(p)) << d.get_name();
            everywhere.insert(d.get_id());
        }
    }
    EXPECT_EQ(everywhere.size(), sim::entry_count());
    EXPECT_GE(reachable(plane::service).size(), 300u);
}

std::string location_or_empty(device const& d, plane p)
{
    try
    {
        return d.get_location(p);
    }
    catch (boost::system::system_error const&)
    {
        return {};
    }
}

// IOKit resolves each path component to the first child of that name and
// location, so a path leads back to its entry only when, at every level, no
// earlier sibling looks the same. Real registries have such look-alikes too
// (Bluetooth devices have no location).
bool path_is_unambiguous(device const& d, plane p)
{
    for (auto current = d;;)
    {
        auto const parent = current.get_parent(p);
        if (!parent)
            return true;
        auto const name = current.get_name(p);
        auto const location = location_or_empty(current, p);
        for (auto const& sibling : children_of(parent, p))
        {
            if (sibling.get_name(p) == name && location_or_empty(sibling, p) == location)
            {
                if (sibling != current)
                    return false;
                break;
            }
        }
        current = parent;
    }
}

// Whether `d` is `top` or under it by first parents, the way IOKit walks up.
bool below(device const& d, device const& top, plane p)
{
    for (auto current = d; current; current = current.get_parent(p))
    {
        if (current == top)
            return true;
    }
    return false;
}

TEST_F(tree_test, a_path_and_an_id_lead_back_to_their_entry)
{
    for (auto p : {plane::service, plane::usb, plane::device_tree, plane::power})
    {
        auto const entries = reachable(p);
        auto const top = children_of(registry_.get_root_node(), p).front();
        std::size_t checked = 0;
        for (auto const& d : entries)
        {
            if (p == plane::service && d.conforms_to_class("IOService"))
            {
                auto it = registry_.get_by_id(d.get_id());
                EXPECT_EQ(device(io_registry_entry(it.next())), d) << d.get_name();
                EXPECT_FALSE(it.next()) << "an ID finds its service once";
            }
            if (!below(d, top, p))
            {
                // IOKit builds paths down from the plane's top entry (the root's
                // first child); an entry under another child of the root has none.
                EXPECT_THROW((void)d.get_path(p), boost::system::system_error) << d.get_name();
                continue;
            }
            if (!path_is_unambiguous(d, p))
                continue;
            ++checked;
            auto const path = d.get_path(p);
            EXPECT_EQ(registry_.get_by_path(path), d) << path;
        }
        EXPECT_GT(checked, entries.size() / 2) << plinth::apple::to_string(p);
    }
}

TEST_F(tree_test, the_plane_root_path_names_the_planes_top_entry_and_unknown_ids_or_paths_nothing)
{
    // IOKit walks a path from the plane's top entry: "IOService:/" is the platform
    // expert device, the root's first child in the plane, not the root itself.
    auto const root = registry_.get_root_node();
    auto const top = registry_.get_by_path("IOService:/");
    EXPECT_EQ(top, children_of(root, plane::service).front());
    EXPECT_TRUE(top.conforms_to_class("IOPlatformExpertDevice"));
    EXPECT_EQ(root.get_name(), "Root");
    EXPECT_EQ(root.get_class(), "IORegistryEntry");

    EXPECT_FALSE(registry_.get_by_id(0xdeadbeefcafeull).next());
    for (auto const* path : {"IOService:/NoSuchEntry", "IOFoo:/", "not a path", ""})
        EXPECT_FALSE(registry_.get_by_path(path)) << path;
}

TEST_F(tree_test, answers_queries_from_several_threads_at_once)
{
    auto const services = reachable(plane::service);
    ASSERT_FALSE(services.empty());
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (std::size_t i = static_cast<std::size_t>(t); i < services.size(); i += 4)
            {
                auto const path = services[i].get_path(plane::service);
                if (!registry_.get_by_path(path) && path_is_unambiguous(services[i], plane::service))
                    ++failures;
                auto it = registry_.get_by_id(services[i].get_id());
                (void)it.next();
            }
        });
    for (auto& th : threads)
        th.join();
    EXPECT_EQ(failures, 0);
}

} // namespace
