// The hid listing: reading each IOHIDDevice, naming its usage, printing it as text or JSON.
#include "tools/plinth-ioreg/listings/hid_listing.hpp"

#include "device/apple/hid_device_client.hpp"
#include "hid/usage_names.hpp"

#include "tools/plinth-ioreg/listings/listing_fields.hpp"
#include "tools/plinth-ioreg/listings/read_optional.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/walk/plane_visit.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>

namespace plinth::ioreg_tool {
namespace {

std::optional<int> read_number(apple::device const& entry, char const* key)
{
    return read_optional([&] { return mpark::get<int>(entry.get_property(key)); });
}

// Who has the device open: its user clients. A registry that will not say lists
// nobody, as a field that cannot be read is absent.
std::vector<hid_listing_client> read_clients(apple::device const& entry)
{
    std::vector<hid_listing_client> clients;
    auto const found = read_optional([&] { return apple::hid_device_clients(entry); });
    if (!found)
        return clients;
    for (auto const& client : *found)
    {
        hid_listing_client& listed = clients.emplace_back();
        if (client.pid >= 0)
        {
            listed.pid = client.pid;
            listed.process_name = client.process_name;
        }
        listed.seizing = client.seizing;
    }
    return clients;
}

nlohmann::ordered_json clients_to_json(std::vector<hid_listing_client> const& clients)
{
    auto array = nlohmann::ordered_json::array();
    for (auto const& client : clients)
        array.push_back({
            {"pid", json_or_null(client.pid)},
            {"process_name", json_or_null(client.process_name)},
            {"seizing", json_or_null(client.seizing)},
        });
    return array;
}

} // namespace

std::vector<hid_listing_item> list_hid_devices(apple::tree const& registry)
{
    std::vector<hid_listing_item> items;
    visit_plane(registry, plane::service, [&](apple::device const& entry, int) {
        if (entry.conforms_to_class("IOHIDDevice"))
            items.push_back({
                entry.get_id(),
                read_number(entry, "DeviceUsagePage"),
                read_number(entry, "DeviceUsage"),
                read_number(entry, "VendorID"),
                read_number(entry, "ProductID"),
                read_optional([&] { return mpark::get<std::string>(entry.get_property("Product")); }),
                read_number(entry, "MaxInputReportSize"),
                read_number(entry, "MaxOutputReportSize"),
                read_optional([&] { return entry.get_path(plane::service); }).value_or(std::string()),
                read_clients(entry),
            });
        return 0;
    });
    return items;
}

std::string describe_usage(std::optional<int> usage_page, std::optional<int> usage)
{
    if (!usage_page || *usage_page < 0 || *usage_page > 0xFFFF)
        return "-";
    auto const page = static_cast<std::uint16_t>(*usage_page);
    auto const page_text = apple::hid_usage_page_label(page);
    if (!usage)
        return page_text;
    auto const usage_name = *usage >= 0 && *usage <= 0xFFFF
                                ? apple::hid_usage_name({page, static_cast<std::uint16_t>(*usage)})
                                : std::nullopt;
    return page_text + " / " + usage_name.value_or(fmt::format("0x{:02x}", *usage));
}

std::string describe_clients(std::vector<hid_listing_client> const& clients)
{
    std::vector<std::string> each;
    for (auto const& client : clients)
        each.push_back(fmt::format("{}{}",
                                   client.pid ? fmt::format("pid {}, {}", *client.pid, client.process_name.value_or(""))
                                              : std::string("an unknown process"),
                                   client.seizing.value_or(false) ? " (seized)" : ""));
    return fmt::format("{}", fmt::join(each, "; "));
}

std::string format_hid_listing(std::vector<hid_listing_item> const& items)
{
    std::string text;
    for (auto const& item : items)
        text += fmt::format("{}:{}  {}  {}  input {}  output {}  {}  {}{}\n", hex_or_absent(item.vendor_id, 4),
                            hex_or_absent(item.product_id, 4), text_or_absent(item.product),
                            describe_usage(item.usage_page, item.usage), number_or_absent(item.max_input_report_size),
                            number_or_absent(item.max_output_report_size), format_entry_id(item.id),
                            item.path.empty() ? "-" : item.path,
                            item.clients.empty() ? "" : "  open by " + describe_clients(item.clients));
    return text;
}

nlohmann::ordered_json hid_listing_to_json(std::vector<hid_listing_item> const& items)
{
    auto array = nlohmann::ordered_json::array();
    for (auto const& item : items)
        array.push_back({
            {"id", format_entry_id(item.id)},
            {"usage_page", json_or_null(item.usage_page)},
            {"usage", json_or_null(item.usage)},
            {"usage_name", describe_usage(item.usage_page, item.usage)},
            {"vendor_id", json_or_null(item.vendor_id)},
            {"product_id", json_or_null(item.product_id)},
            {"product", json_or_null(item.product)},
            {"max_input_report_size", json_or_null(item.max_input_report_size)},
            {"max_output_report_size", json_or_null(item.max_output_report_size)},
            {"path", item.path.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(item.path)},
            {"clients", clients_to_json(item.clients)},
        });
    return array;
}

} // namespace plinth::ioreg_tool
