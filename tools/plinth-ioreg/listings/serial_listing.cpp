// The serial listing: reading each IOSerialBSDClient and the USB device above it, printing them as text or JSON.
#include "tools/plinth-ioreg/listings/serial_listing.hpp"

#include "device/apple/serial_bsd_client.hpp"
#include "device/apple/usb_device.hpp"
#include "tools/plinth-ioreg/listings/listing_fields.hpp"
#include "tools/plinth-ioreg/listings/read_optional.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/walk/plane_visit.hpp"

#include <fmt/format.h>

#include <utility>

namespace plinth::ioreg_tool {
namespace {

// Far deeper than any real USB-to-serial stack; it bounds the climb in a
// registry whose links form a cycle.
constexpr int max_climb = 64;

std::optional<serial_port_owner> find_usb_owner(apple::device const& port)
{
    auto above = read_optional([&] { return port.get_parent(plane::service); });
    for (int step = 0; above && *above && step < max_climb; ++step)
    {
        if (apple::usb_device const usb(*above); usb)
            return serial_port_owner{
                read_optional([&] { return mpark::get<int>(usb.get_property("idVendor")); }),
                read_optional([&] { return mpark::get<int>(usb.get_property("idProduct")); }),
                read_optional([&] { return usb.get_product(); }),
                read_optional([&] { return usb.get_serial_number(); }),
            };
        above = read_optional([&] { return above->get_parent(plane::service); });
    }
    return std::nullopt;
}

} // namespace

std::vector<serial_listing_item> list_serial_ports(apple::tree const& registry)
{
    std::vector<serial_listing_item> items;
    visit_plane(registry, plane::service, [&](apple::device entry, int) {
        apple::serial_bsd_client const port(std::move(entry));
        if (port)
            items.push_back({
                port.get_id(),
                read_optional([&] { return port.get_callout_device(); }),
                read_optional([&] { return port.get_dialin_device(); }),
                read_optional([&] { return port.get_tty_base_name(); }),
                read_optional([&] { return port.get_tty_suffix(); }),
                read_optional([&] { return port.get_type(); }),
                find_usb_owner(port),
            });
        return 0;
    });
    return items;
}

std::string format_serial_listing(std::vector<serial_listing_item> const& items)
{
    std::string text;
    for (auto const& item : items)
    {
        text += fmt::format("{}  {}  base {}  suffix {}  type {}", text_or_absent(item.callout_device),
                            text_or_absent(item.dialin_device), text_or_absent(item.tty_base_name),
                            text_or_absent(item.tty_suffix), text_or_absent(item.type));
        if (auto const& usb = item.usb_device)
            text += fmt::format("  usb {}:{} {}  serial {}", hex_or_absent(usb->vendor_id, 4),
                                hex_or_absent(usb->product_id, 4), text_or_absent(usb->product),
                                text_or_absent(usb->serial_number));
        text += '\n';
    }
    return text;
}

nlohmann::ordered_json serial_listing_to_json(std::vector<serial_listing_item> const& items)
{
    auto array = nlohmann::ordered_json::array();
    for (auto const& item : items)
    {
        auto usb = nlohmann::ordered_json(nullptr);
        if (item.usb_device)
            usb = {
                {"vendor_id", json_or_null(item.usb_device->vendor_id)},
                {"product_id", json_or_null(item.usb_device->product_id)},
                {"product", json_or_null(item.usb_device->product)},
                {"serial_number", json_or_null(item.usb_device->serial_number)},
            };
        array.push_back({
            {"id", format_entry_id(item.id)},
            {"callout_device", json_or_null(item.callout_device)},
            {"dialin_device", json_or_null(item.dialin_device)},
            {"tty_base_name", json_or_null(item.tty_base_name)},
            {"tty_suffix", json_or_null(item.tty_suffix)},
            {"type", json_or_null(item.type)},
            {"usb_device", usb},
        });
    }
    return array;
}

} // namespace plinth::ioreg_tool
