// replay_registry: a recorded device's entries added under new IDs, or a plausible device made from a Linux header.
#include "sim/control/replay_registry.hpp"

#include "hid/report_descriptor.hpp"
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include <IOKit/IOKitLib.h>

#include <boost/system/error_code.hpp>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>

namespace plinth::sim::detail {
namespace {

// Where a Mac's devices hang: below the top of the IOService plane (the platform
// expert device, "IOService:/"), so that they have paths in it; below the root
// entry in a registry that has no such top.
entry_id device_parent()
{
    io_registry_entry_t const top = IORegistryEntryFromPath(kIOMainPortDefault, "IOService:/");
    if (top == IO_OBJECT_NULL)
        return root_entry_id;
    std::uint64_t id = root_entry_id;
    if (IORegistryEntryGetRegistryEntryID(top, &id) != KERN_SUCCESS)
        id = root_entry_id;
    IOObjectRelease(top);
    return id;
}

// The recorded entries, each added anew: a device recorded twice, or replayed
// twice, is two devices. Entries keep their links among themselves; the tops
// hang under the root.
replay_entries add_recorded(std::string const& registry)
{
    auto const recorded = read_ioreg_xml(registry);
    auto const plane_top = device_parent();
    replay_entries added;
    std::map<entry_id, entry_id> new_ids;
    std::map<entry_id, entry_id> created_under; // by recorded IDs
    std::optional<entry_id> hid;
    for (auto const& entry : recorded.entries)
    {
        for (std::size_t i = 0; i + 1 < entry.class_chain.size(); ++i)
            add_class(entry.class_chain[i], entry.class_chain[i + 1]);
        auto const link = std::find_if(recorded.links.begin(), recorded.links.end(), [&](auto const& l) {
            return l.second == entry.id && new_ids.contains(l.first);
        });
        auto const parent = link == recorded.links.end() ? plane_top : new_ids.at(link->first);
        auto const id =
            add_entry({entry.class_name, entry.name, entry.location, entry.properties}, parent, recorded.plane);
        new_ids[entry.id] = id;
        created_under[entry.id] = link == recorded.links.end() ? root_entry_id : link->first;
        if (link == recorded.links.end())
            added.tops.push_back(id);
        if (!hid && property::find_key(entry.properties, "ReportDescriptor") != nullptr)
            hid = id;
    }
    // An entry with several parents was added under the first: the others link it too.
    for (auto const& [parent, child] : recorded.links)
        if (new_ids.contains(parent) && new_ids.contains(child) && created_under.at(child) != parent)
            attach(new_ids.at(child), new_ids.at(parent), recorded.plane);
    if (!hid)
    {
        for (auto const top : added.tops)
            remove_entry(top);
        throw std::invalid_argument(
            "the recorded registry entries hold no HID device: none has a \"ReportDescriptor\"");
    }
    added.hid = *hid;
    return added;
}

std::string transport_of(std::uint16_t bus)
{
    switch (bus)
    {
    case 3: return "USB";
    case 5: return "Bluetooth";
    case 0x18: return "I2C";
    case 6: return "Virtual";
    default: return "Unknown";
    }
}

// What a HID service publishes of its descriptor: its largest reports, and the
// usages of its top-level application collections, the first being primary.
void add_descriptor_properties(property::dictionary& properties, apple::hid_recorded_device const& device)
{
    properties.emplace_back("ReportDescriptor", property::data(device.descriptor));
    std::size_t largest_input = 0;
    for (auto const& report : device.inputs)
        largest_input = std::max(largest_input, report.bytes.size());
    boost::system::error_code ec;
    auto const descriptor = apple::hid_report_descriptor::parse(device.descriptor, ec);
    if (!ec)
    {
        property::array pairs;
        for (auto const& collection : descriptor.collections())
            if (collection.depth == 0 && collection.type == 1)
                pairs.emplace_back(
                    property::dictionary{{"DeviceUsagePage", property::make_number(collection.usage.page)},
                                         {"DeviceUsage", property::make_number(collection.usage.id)}});
        if (!pairs.empty())
        {
            auto const& primary = std::get<property::dictionary>(pairs.front().content);
            properties.emplace_back("PrimaryUsagePage", primary[0].second);
            properties.emplace_back("PrimaryUsage", primary[1].second);
            properties.emplace_back("DeviceUsagePage", primary[0].second);
            properties.emplace_back("DeviceUsage", primary[1].second);
            properties.emplace_back("DeviceUsagePairs", std::move(pairs));
        }
        largest_input = std::max(largest_input, descriptor.max_report_size(apple::hid_report_type::input));
        properties.emplace_back("MaxOutputReportSize",
                                property::make_number(static_cast<std::uint32_t>(
                                    descriptor.max_report_size(apple::hid_report_type::output))));
        properties.emplace_back("MaxFeatureReportSize",
                                property::make_number(static_cast<std::uint32_t>(
                                    descriptor.max_report_size(apple::hid_report_type::feature))));
    }
    properties.emplace_back("MaxInputReportSize", property::make_number(static_cast<std::uint32_t>(largest_input)));
}

// A recording made on Linux names the device and its bus but no Mac entry: a USB
// device gets the three entries a Mac shows for one (the device, its interface,
// its HID service), any other bus one virtual HID device.
replay_entries add_made_up(apple::hid_recorded_device const& device)
{
    auto const identity = device.identity.value_or(apple::hid_recorded_identity{6, 0, 0});
    auto const name = device.name.empty() ? std::string("Replayed HID device") : device.name;
    property::dictionary service{{"VendorID", property::make_number(identity.vendor)},
                                 {"ProductID", property::make_number(identity.product)},
                                 {"Product", name},
                                 {"Transport", transport_of(identity.bus)}};
    add_descriptor_properties(service, device);
    replay_entries added;
    if (identity.bus == 3)
    {
        auto const usb = add_entry({"IOUSBHostDevice",
                                    name,
                                    std::nullopt,
                                    {{"idVendor", property::make_number(identity.vendor)},
                                     {"idProduct", property::make_number(identity.product)},
                                     {"USB Product Name", name},
                                     {"kUSBProductString", name}}},
                                   device_parent());
        auto const interface = add_entry({"IOUSBHostInterface", "IOUSBHostInterface", "0"}, usb);
        added.hid =
            add_entry({"IOUSBHostHIDDevice", "IOUSBHostHIDDevice", std::nullopt, std::move(service)}, interface);
        added.tops.push_back(usb);
    }
    else
    {
        added.hid = add_entry({"IOHIDUserDevice", name, std::nullopt, std::move(service)}, device_parent());
        added.tops.push_back(added.hid);
    }
    return added;
}

} // namespace

replay_entries add_replay_entries(apple::hid_recorded_device const& device)
{
    return device.registry.empty() ? add_made_up(device) : add_recorded(device.registry);
}

} // namespace plinth::sim::detail
