// The usb listing: reading each USB device in the IOUSB plane (or IOService, without mirrors), printing it as text or JSON.
#include "tools/plinth-ioreg/listings/usb_listing.hpp"

#include "tools/plinth-ioreg/listings/listing_fields.hpp"
#include "tools/plinth-ioreg/listings/read_optional.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/walk/plane_visit.hpp"

#include <fmt/format.h>

#include <cstdint>
#include <set>
#include <utility>

namespace plinth::ioreg_tool {
namespace {

usb_listing_item read_item(apple::usb_device const& usb, int depth)
{
    usb_listing_item item;
    item.id = usb.get_id();
    item.depth = depth;
    item.vendor_id = read_optional([&] { return mpark::get<int>(usb.get_property("idVendor")); });
    item.product_id = read_optional([&] { return mpark::get<int>(usb.get_property("idProduct")); });
    item.product = read_optional([&] { return usb.get_product(); });
    item.manufacturer = read_optional([&] { return usb.get_manufacturer(); });
    item.serial_number = read_optional([&] { return usb.get_serial_number(); });
    item.address = read_optional([&] { return usb.get_address(); });
    item.port_number = read_optional([&] { return usb.get_port_number(); });
    item.location_id = read_optional([&] { return usb.get_location_id(); });
    item.descriptor = read_optional([&] { return usb.get_device_descriptor(); });
    return item;
}

std::string descriptor_line(apple::usb_device::device_descriptor const& d)
{
    return fmt::format("class {:02x}/{:02x}/{:02x}  max packet {}  release {:04x}  strings {}/{}/{}  configurations {}",
                       d.bDeviceClass, d.bDeviceSubClass, d.bDeviceProtocol, d.bMaxPacketSize0, d.bcdDevice,
                       d.iManufacturer, d.iProduct, d.iSerialNumber, d.bNumConfigurations);
}

nlohmann::ordered_json descriptor_to_json(apple::usb_device::device_descriptor const& d)
{
    return {
        {"bDeviceClass", d.bDeviceClass},
        {"bDeviceSubClass", d.bDeviceSubClass},
        {"bDeviceProtocol", d.bDeviceProtocol},
        {"bMaxPacketSize0", d.bMaxPacketSize0},
        {"idVendor", d.idVendor},
        {"idProduct", d.idProduct},
        {"bcdDevice", d.bcdDevice},
        {"iManufacturer", d.iManufacturer},
        {"iProduct", d.iProduct},
        {"iSerialNumber", d.iSerialNumber},
        {"bNumConfigurations", d.bNumConfigurations},
    };
}

} // namespace

std::vector<usb_listing_item> list_usb_devices(apple::tree const& registry)
{
    std::vector<usb_listing_item> items;
    auto const in_usb_plane = visit_plane(registry, plane::usb, [&](apple::device entry, int depth) {
        apple::usb_device const usb(std::move(entry));
        if (!usb)
            return 0;
        items.push_back(read_item(usb, depth));
        return 1;
    });
    if (in_usb_plane)
        return items;

    std::set<int> locations;
    visit_plane(registry, plane::service, [&](apple::device entry, int depth) {
        apple::usb_device const usb(std::move(entry));
        if (!usb)
            return 0;
        // The mirror is skipped before anything else of it is read.
        auto const location = read_optional([&] { return usb.get_location_id(); });
        if (location && !locations.insert(*location).second)
            return 0;
        items.push_back(read_item(usb, depth));
        return 1;
    });
    return items;
}

std::string format_usb_listing(std::vector<usb_listing_item> const& items, bool verbose)
{
    std::string text;
    for (auto const& item : items)
    {
        std::string const indent(2 * static_cast<std::size_t>(item.depth), ' ');
        text += fmt::format("{}{}:{}  {}  manufacturer {}  serial {}  address {}  port {}  location {}\n", indent,
                            hex_or_absent(item.vendor_id, 4), hex_or_absent(item.product_id, 4),
                            text_or_absent(item.product), text_or_absent(item.manufacturer),
                            text_or_absent(item.serial_number), number_or_absent(item.address),
                            number_or_absent(item.port_number), prefixed_hex_or_absent(item.location_id, 8));
        if (verbose)
            text += indent + "    " + (item.descriptor ? descriptor_line(*item.descriptor) : "descriptor -") + '\n';
    }
    return text;
}

nlohmann::ordered_json usb_listing_to_json(std::vector<usb_listing_item> const& items)
{
    auto array = nlohmann::ordered_json::array();
    for (auto const& item : items)
        array.push_back({
            {"id", format_entry_id(item.id)},
            {"depth", item.depth},
            {"vendor_id", json_or_null(item.vendor_id)},
            {"product_id", json_or_null(item.product_id)},
            {"product", json_or_null(item.product)},
            {"manufacturer", json_or_null(item.manufacturer)},
            {"serial_number", json_or_null(item.serial_number)},
            {"address", json_or_null(item.address)},
            {"port_number", json_or_null(item.port_number)},
            {"location_id", item.location_id ? nlohmann::ordered_json(static_cast<std::uint32_t>(*item.location_id))
                                             : nlohmann::ordered_json(nullptr)},
            {"descriptor", item.descriptor ? descriptor_to_json(*item.descriptor) : nlohmann::ordered_json(nullptr)},
        });
    return array;
}

} // namespace plinth::ioreg_tool
