// watch --simulate-hotplug: picking the bundled registry's smallest USB device and toggling it on a timer (simulation only).
#if !defined(__APPLE__)
#include "tools/plinth-ioreg/watch/hotplug_simulator.hpp"

#include "sim/control/registry.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

namespace plinth::ioreg_tool {
namespace {

using children_map = std::multimap<sim::entry_id, sim::entry_id>;

// The entry and everything under it, parents before their children: the order in
// which a plugged device's services are published.
std::vector<sim::entry_id> subtree_of(sim::entry_id top, children_map const& children)
{
    std::vector<sim::entry_id> ids{top};
    std::set<sim::entry_id> seen{top};
    for (std::size_t next = 0; next < ids.size(); ++next)
    {
        auto const [first, last] = children.equal_range(ids[next]);
        for (auto link = first; link != last; ++link)
            if (seen.insert(link->second).second)
                ids.push_back(link->second);
    }
    return ids;
}

} // namespace

// The device and everything under it in the IOService plane, as a dump that
// plugs it back in where it was.
struct hotplug_simulator::device_part
{
    sim::entry_id id = 0;
    sim::dump part;
};

namespace {

// The USB device of the bundled registry with the fewest entries under it: its
// arrivals and departures make the shortest output.
std::unique_ptr<hotplug_simulator::device_part> pick_device()
{
    auto const dumps = sim::bundled_registry_dumps();
    auto const service = std::find_if(dumps.begin(), dumps.end(), [](auto const& d) { return d.plane == "IOService"; });
    if (service == dumps.end())
        throw tool_error("the bundled registry has no IOService plane");
    children_map children;
    std::map<sim::entry_id, sim::entry_id> parent_of;
    for (auto const& [parent, child] : service->links)
    {
        children.emplace(parent, child);
        parent_of.emplace(child, parent);
    }
    std::unique_ptr<hotplug_simulator::device_part> best;
    std::vector<sim::entry_id> best_subtree;
    for (auto const& entry : service->entries)
    {
        if (entry.class_name != "IOUSBHostDevice" || !parent_of.contains(entry.id) || !sim::contains(entry.id))
            continue;
        auto subtree = subtree_of(entry.id, children);
        if (best && subtree.size() >= best_subtree.size())
            continue;
        best = std::make_unique<hotplug_simulator::device_part>();
        best->id = entry.id;
        best_subtree = std::move(subtree);
    }
    if (!best)
        throw tool_error("--simulate-hotplug needs the bundled registry, which has USB devices to plug");
    best->part.plane = "IOService";
    std::map<sim::entry_id, sim::dump_entry const*> by_id;
    for (auto const& entry : service->entries)
        by_id.emplace(entry.id, &entry);
    for (auto const id : best_subtree)
        best->part.entries.push_back(*by_id.at(id));
    std::set<sim::entry_id> const in_part(best_subtree.begin(), best_subtree.end());
    for (auto const& link : service->links)
        if (in_part.contains(link.second))
            best->part.links.push_back(link);
    return best;
}

} // namespace

hotplug_simulator::hotplug_simulator(boost::asio::any_io_executor executor, std::chrono::milliseconds period)
    : timer_(std::move(executor)), period_(period), device_(pick_device())
{
    schedule();
}

void hotplug_simulator::toggle()
{
    if (plugged_)
        sim::remove_entry(device_->id);
    else
        sim::merge(device_->part);
    plugged_ = !plugged_;
}

std::uint64_t hotplug_simulator::device_id() const noexcept
{
    return device_->id;
}

hotplug_simulator::~hotplug_simulator() = default;

void hotplug_simulator::cancel()
{
    timer_.cancel();
}

void hotplug_simulator::schedule()
{
    timer_.expires_after(period_);
    timer_.async_wait([this](boost::system::error_code const& error) {
        if (error)
            return;
        toggle();
        schedule();
    });
}

} // namespace plinth::ioreg_tool
#endif
