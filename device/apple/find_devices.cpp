// find_devices: IOServiceGetMatchingServices on the match's class, filtered by accepts() and put in registry-ID order.
#include "device/apple/find_devices.hpp"

#include "io_kit/io_iterator.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_service.hpp"
#include "io_kit/mach_port.hpp"

#include <boost/system/system_error.hpp>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace plinth::apple {

std::vector<device> find_devices(device_match const& match)
{
    boost::system::error_code ec;
    auto found = find_devices(match, ec);
    if (ec)
        throw boost::system::system_error(ec, "find_devices");
    return found;
}

std::vector<device> find_devices(device_match const& match, boost::system::error_code& ec)
{
    ec.clear();
    struct found_device
    {
        std::uint64_t id;
        device entry;
    };
    std::vector<found_device> found;
    try
    {
        auto services = io_kit::mach_port::master_port_default().io_service_get_matching_services(
            io_kit::io_service::matching(match.class_name));
        while (auto object = services.next())
        {
            device entry{io_kit::io_registry_entry(std::move(object))};
            if (!match.accepts(entry))
                continue;
            try
            {
                found.push_back({entry.get_id(), std::move(entry)});
            }
            catch (boost::system::system_error const&)
            {
                // Its ID cannot be read: it has left since the iterator was made,
                // as it would have before a watcher's first look.
            }
        }
    }
    catch (boost::system::system_error const& error)
    {
        ec = error.code();
        return {};
    }
    // IOKit hands matching services out in no promised order; a watcher reports
    // those present at start by registry ID, and so does this.
    std::sort(found.begin(), found.end(), [](auto const& a, auto const& b) { return a.id < b.id; });
    std::vector<device> devices;
    devices.reserve(found.size());
    for (auto& item : found)
        devices.push_back(std::move(item.entry));
    return devices;
}

} // namespace plinth::apple
