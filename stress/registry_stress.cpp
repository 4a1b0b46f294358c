// Registry walks on several threads while other threads add and remove entries.
// Half the walkers read whole planes with every property, as the registry tool's
// tree listing does; the others walk with the library's own device handles,
// asking each entry for its name, path, ID, class and a property. An entry may
// go while a walk holds it: the walk must then see an error or an empty result,
// never crash, hang or leak. The run ends by proving that no handle, CF object
// or thread was left.

#if defined(__APPLE__)
// The run plays the simulated I/O Kit's devices and registry, which a Mac does not
// have: there the program does nothing.
int main()
{
    return 0;
}
#else

#include "stress/stress_run.hpp"

#include "device/apple/device.hpp"
#include "device/apple/plane.hpp"
#include "device/apple/tree.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/mach_port.hpp"
#include "sim/control/registry.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/walk/registry_walker.hpp"

#include <boost/system/system_error.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace sim = plinth::sim;
using plinth::apple::device;
using plinth::apple::tree;
namespace tool = plinth::ioreg_tool;

constexpr int walker_count = 4;
constexpr std::size_t most_entries = 120;

struct totals
{
    std::atomic<std::uint64_t> walks{0};
    std::atomic<std::uint64_t> entries_seen{0};
    std::atomic<std::uint64_t> properties_read{0};
    std::atomic<std::uint64_t> walks_interrupted{0};
    std::atomic<std::uint64_t> entries_added{0};
    std::atomic<std::uint64_t> entries_removed{0};
};

std::size_t count_properties(tool::tree_node const& node)
{
    std::size_t n = node.properties ? node.properties->size() : 0;
    for (auto const& child : node.children)
        n += count_properties(child);
    return n;
}

// Walks the service plane below `d` with the library's handles.
void walk_devices(device const& d, totals& t, int depth)
{
    ++t.entries_seen;
    (void)d.get_name();
    (void)d.get_path(plinth::plane::service);
    (void)d.get_id();
    (void)d.get_class();
    try
    {
        (void)d.get_property("Stress");
        ++t.properties_read;
    }
    catch (boost::system::system_error const&)
    {
        // Absent: the root and the entries that do not carry it.
    }
    if (depth > 16)
        return;
    auto children = d.get_children(plinth::plane::service);
    while (auto child = children.next())
        walk_devices(device(plinth::apple::io_kit::io_registry_entry(std::move(child))), t, depth + 1);
}

void walker(int index, std::uint64_t seed, std::atomic<bool> const& stop, totals& t)
{
    tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
    std::mt19937_64 random(seed + static_cast<std::uint64_t>(index));
    constexpr plinth::plane planes[] = {plinth::plane::service, plinth::plane::device_tree, plinth::plane::usb};
    while (!stop)
    {
        try
        {
            if (index % 2 == 0)
            {
                auto const p = planes[random() % std::size(planes)];
                auto const node = tool::registry_walker(p, true).walk(tool::find_root(registry));
                t.entries_seen += tool::count_nodes(node);
                t.properties_read += count_properties(node);
            }
            else
                walk_devices(registry.get_root_node(), t, 0);
            ++t.walks;
        }
        catch (std::exception const&)
        {
            // An entry went in the middle of the walk.
            ++t.walks_interrupted;
        }
    }
}

// Adds entries under the root or under another added entry, in the service plane
// and now and then also in the others, and removes them again.
void mutator(std::uint64_t seed, std::atomic<bool> const& stop, totals& t, std::vector<sim::entry_id>& live,
             std::mutex& live_mutex)
{
    std::mt19937_64 random(seed);
    while (!stop)
    {
        std::lock_guard const lock(live_mutex);
        // Entries removed with an ancestor are gone already.
        std::erase_if(live, [](sim::entry_id id) { return !sim::contains(id); });
        if (live.size() < most_entries && random() % 3 != 0)
        {
            auto const parent = live.empty() || random() % 4 == 0 ? sim::root_entry_id : live[random() % live.size()];
            auto const n = t.entries_added.load();
            auto const id = sim::add_entry({"IOUSBHostDevice",
                                            "Entry " + std::to_string(n),
                                            fmt::format("{:x}", n),
                                            {{"Stress", sim::make_number(static_cast<std::int64_t>(n))},
                                             {"Name", std::string("entry " + std::to_string(n))},
                                             {"Bytes", sim::data{1, 2, 3, static_cast<std::uint8_t>(n)}}}},
                                           parent);
            if (random() % 4 == 0)
                sim::attach(id, sim::root_entry_id, random() % 2 ? "IODeviceTree" : "IOUSB");
            live.push_back(id);
            ++t.entries_added;
        }
        else if (!live.empty())
        {
            auto const at = random() % live.size();
            sim::remove_entry(live[at]);
            live.erase(live.begin() + static_cast<std::ptrdiff_t>(at));
            ++t.entries_removed;
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    plinth::stress::run_options options;
    int exit_code = 0;
    if (!options.parse("Registry walks on several threads while entries are added and removed", argc, argv, exit_code))
        return exit_code;
    plinth::stress::account account("registry_stress");
    sim::reset_registry();
    totals t;
    std::vector<sim::entry_id> live;
    std::mutex live_mutex;
    std::atomic<bool> stop{false};
    auto const start = std::chrono::steady_clock::now();
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < walker_count; ++i)
            threads.emplace_back([&, i] { walker(i, options.seed, stop, t); });
        threads.emplace_back([&] { mutator(options.seed, stop, t, live, live_mutex); });
        auto const deadline = options.deadline(start);
        while (options.more(t.walks, deadline))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        stop = true;
        for (auto& thread : threads)
            thread.join();
    }
    sim::reset_registry();
    account.figure("seed", options.seed);
    account.figure("milliseconds", static_cast<std::uint64_t>((std::chrono::steady_clock::now() - start) /
                                                              std::chrono::milliseconds(1)));
    account.figure("walks", t.walks);
    account.figure("walks interrupted by a removal", t.walks_interrupted);
    account.figure("entries seen", t.entries_seen);
    account.figure("properties read", t.properties_read);
    account.figure("entries added", t.entries_added);
    account.figure("entries removed", t.entries_removed);
    account.check(t.walks > 0, "no walk finished");
    account.check(t.entries_added > 0 && t.entries_removed > 0, "the registry never changed");
    return account.close();
}

#endif
