// The hid listing: reading each IOHIDDevice, naming its usage, printing it as text or JSON.
#include "tools/plinth-ioreg/listings/hid_listing.hpp"

#include "tools/plinth-ioreg/listings/listing_fields.hpp"
#include "tools/plinth-ioreg/listings/read_optional.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/walk/plane_visit.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace plinth::ioreg_tool {
namespace {

struct usage_name
{
    int page;
    int usage; // -1: the page itself
    char const* name;
};

// The pages and usages people meet on their desks (HID Usage Tables).
constexpr usage_name usage_names[] = {
    {0x01, -1, "Generic Desktop"},
    {0x01, 0x01, "Pointer"},
    {0x01, 0x02, "Mouse"},
    {0x01, 0x04, "Joystick"},
    {0x01, 0x05, "Game Pad"},
    {0x01, 0x06, "Keyboard"},
    {0x01, 0x07, "Keypad"},
    {0x01, 0x08, "Multi-axis Controller"},
    {0x01, 0x80, "System Control"},
    {0x02, -1, "Simulation Controls"},
    {0x05, -1, "Game Controls"},
    {0x06, -1, "Generic Device Controls"},
    {0x07, -1, "Keyboard/Keypad"},
    {0x08, -1, "LED"},
    {0x09, -1, "Button"},
    {0x0b, -1, "Telephony"},
    {0x0c, -1, "Consumer"},
    {0x0c, 0x01, "Consumer Control"},
    {0x0d, -1, "Digitizers"},
    {0x0d, 0x02, "Pen"},
    {0x0d, 0x04, "Touch Screen"},
    {0x0d, 0x05, "Touch Pad"},
    {0x0f, -1, "Physical Input Device"},
    {0x14, -1, "Auxiliary Display"},
    {0x20, -1, "Sensors"},
    {0x84, -1, "Power Device"},
    {0x85, -1, "Battery System"},
    {0xff00, -1, "Vendor Defined"},
};

char const* find_name(int page, int usage)
{
    auto const found = std::find_if(std::begin(usage_names), std::end(usage_names),
                                    [&](usage_name const& n) { return n.page == page && n.usage == usage; });
    return found == std::end(usage_names) ? nullptr : found->name;
}

std::optional<int> read_number(apple::device const& entry, char const* key)
{
    return read_optional([&] { return mpark::get<int>(entry.get_property(key)); });
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
            });
        return 0;
    });
    return items;
}

std::string describe_usage(std::optional<int> usage_page, std::optional<int> usage)
{
    if (!usage_page)
        return "-";
    char const* const page_name = find_name(*usage_page, -1);
    char const* const usage_name = usage ? find_name(*usage_page, *usage) : nullptr;
    auto const page_text = page_name != nullptr ? std::string(page_name) : fmt::format("page 0x{:02x}", *usage_page);
    if (!usage)
        return page_text;
    return page_text + " / " + (usage_name != nullptr ? std::string(usage_name) : fmt::format("0x{:02x}", *usage));
}

std::string format_hid_listing(std::vector<hid_listing_item> const& items)
{
    std::string text;
    for (auto const& item : items)
        text += fmt::format("{}:{}  {}  {}  input {}  output {}  {}  {}\n", hex_or_absent(item.vendor_id, 4),
                            hex_or_absent(item.product_id, 4), text_or_absent(item.product),
                            describe_usage(item.usage_page, item.usage), number_or_absent(item.max_input_report_size),
                            number_or_absent(item.max_output_report_size), format_entry_id(item.id),
                            item.path.empty() ? "-" : item.path);
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
        });
    return array;
}

} // namespace plinth::ioreg_tool
