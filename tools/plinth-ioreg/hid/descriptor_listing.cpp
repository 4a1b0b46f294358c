// The listing of a report descriptor: each item read as it means, with usage names, and the reports' sizes.
#include "tools/plinth-ioreg/hid/descriptor_listing.hpp"

#include "hid/item_reader.hpp"
#include "hid/usage_names.hpp"

#include <fmt/format.h>

#include <array>
#include <string_view>
#include <vector>

namespace plinth::ioreg_tool {
namespace {

using apple::hid_descriptor_item;
using apple::hid_item_tag;
using apple::hid_report_type;

constexpr std::array report_types{hid_report_type::input, hid_report_type::output, hid_report_type::feature};

// What the items before an item leave for reading it: the usage page that a short
// usage belongs to, and whether a maximum is read signed (when its minimum is
// negative). Push and Pop save and restore it, as they do the parser's globals.
struct reading_state
{
    std::uint16_t usage_page = 0;
    bool logical_signed = false;
    bool physical_signed = false;
};

std::string collection_type_name(std::uint32_t type)
{
    static constexpr std::array<std::string_view, 7> names{"Physical",    "Application",  "Logical",       "Report",
                                                           "Named Array", "Usage Switch", "Usage Modifier"};
    if (type < names.size())
        return std::string(names[type]);
    return fmt::format("{} 0x{:02X}", type >= 0x80 ? "Vendor-defined" : "Reserved", type);
}

std::vector<std::string> main_item_flag_names(std::uint32_t bits, hid_item_tag tag)
{
    apple::hid_main_item_flags const flags{bits};
    std::vector<std::string> names{flags.is_constant() ? "Constant" : "Data",
                                   flags.is_variable() ? "Variable" : "Array",
                                   flags.is_relative() ? "Relative" : "Absolute"};
    if (flags.wraps())
        names.emplace_back("Wrap");
    if (flags.is_non_linear())
        names.emplace_back("Non Linear");
    if (flags.has_no_preferred_state())
        names.emplace_back("No Preferred State");
    if (flags.has_null_state())
        names.emplace_back("Null State");
    if (flags.is_volatile() && tag != hid_item_tag::input)
        names.emplace_back("Volatile");
    if (flags.is_buffered_bytes())
        names.emplace_back("Buffered Bytes");
    return names;
}

std::string unit_system_name(std::uint32_t unit)
{
    switch (unit & 0xF)
    {
    case 0: return "None";
    case 1: return "SI Linear";
    case 2: return "SI Rotation";
    case 3: return "English Linear";
    case 4: return "English Rotation";
    case 0xF: return "Vendor-defined";
    }
    return "Reserved";
}

std::string usage_text(hid_descriptor_item const& item, reading_state const& state)
{
    auto const usage = item.size == 4 ? apple::hid_usage::from_extended(item.data)
                                      : apple::hid_usage{state.usage_page, static_cast<std::uint16_t>(item.data)};
    return apple::hid_usage_label(usage);
}

// The item's data as the item means it; empty for items that carry none worth saying.
std::string item_text(hid_descriptor_item const& item, reading_state& state, std::vector<reading_state>& saved)
{
    if (item.is_long)
        return fmt::format("{} bytes", item.size);
    switch (item.tag())
    {
    case hid_item_tag::input:
    case hid_item_tag::output:
    case hid_item_tag::feature: return fmt::format("{}", fmt::join(main_item_flag_names(item.data, item.tag()), ", "));
    case hid_item_tag::collection: return collection_type_name(item.data);
    case hid_item_tag::end_collection: return {};
    case hid_item_tag::usage_page:
        state.usage_page = static_cast<std::uint16_t>(item.data);
        return apple::hid_usage_page_label(state.usage_page);
    case hid_item_tag::usage:
    case hid_item_tag::usage_minimum:
    case hid_item_tag::usage_maximum: return usage_text(item, state);
    case hid_item_tag::logical_minimum:
        state.logical_signed = item.signed_data() < 0;
        return fmt::format("{}", item.signed_data());
    case hid_item_tag::physical_minimum:
        state.physical_signed = item.signed_data() < 0;
        return fmt::format("{}", item.signed_data());
    case hid_item_tag::logical_maximum:
        return state.logical_signed ? fmt::format("{}", item.signed_data()) : fmt::format("{}", item.data);
    case hid_item_tag::physical_maximum:
        return state.physical_signed ? fmt::format("{}", item.signed_data()) : fmt::format("{}", item.data);
    case hid_item_tag::unit_exponent: {
        // Four bits of two's complement: 0xF is -1.
        auto const nibble = static_cast<int>(item.data & 0xF);
        return fmt::format("{}", nibble >= 8 ? nibble - 16 : nibble);
    }
    case hid_item_tag::unit: return fmt::format("0x{:X}, {}", item.data, unit_system_name(item.data));
    case hid_item_tag::push: saved.push_back(state); return {};
    case hid_item_tag::pop:
        if (!saved.empty())
        {
            state = saved.back();
            saved.pop_back();
        }
        return {};
    case hid_item_tag::delimiter:
        return item.data == 1 ? "Open" : item.data == 0 ? "Close" : fmt::format("{}", item.data);
    default: return fmt::format("{}", item.data);
    }
}

struct listed_item
{
    hid_descriptor_item item;
    std::span<std::uint8_t const> bytes; // the whole item, prefix included
    std::string text;
    std::size_t depth = 0;
};

// The descriptor's items with their text and depth. The descriptor parsed, so every
// item is whole.
std::vector<listed_item> list_items(std::span<std::uint8_t const> bytes)
{
    std::vector<listed_item> items;
    apple::hid_item_reader reader(bytes);
    reading_state state;
    std::vector<reading_state> saved;
    std::size_t depth = 0;
    while (auto const item = reader.next())
    {
        if (item->tag() == hid_item_tag::end_collection && !item->is_long && depth > 0)
            --depth;
        items.push_back({*item, {}, item_text(*item, state, saved), depth});
        if (item->tag() == hid_item_tag::collection && !item->is_long)
            ++depth;
    }
    for (std::size_t i = 0; i < items.size(); ++i)
    {
        auto const end = i + 1 < items.size() ? items[i + 1].item.offset : bytes.size();
        items[i].bytes = bytes.subspan(items[i].item.offset, end - items[i].item.offset);
    }
    return items;
}

std::optional<int> published_size(published_report_sizes const& published, hid_report_type type)
{
    switch (type)
    {
    case hid_report_type::input: return published.input;
    case hid_report_type::output: return published.output;
    case hid_report_type::feature: return published.feature;
    }
    return std::nullopt;
}

std::string_view published_key(hid_report_type type)
{
    switch (type)
    {
    case hid_report_type::input: return "MaxInputReportSize";
    case hid_report_type::output: return "MaxOutputReportSize";
    case hid_report_type::feature: return "MaxFeatureReportSize";
    }
    return "";
}

std::string item_bytes_text(std::span<std::uint8_t const> bytes)
{
    constexpr std::size_t shown = 5; // a short item has at most five bytes
    auto const text = fmt::format("{:02x}", fmt::join(bytes.first(std::min(bytes.size(), shown)), " "));
    return bytes.size() > shown ? text + " .." : text;
}

nlohmann::ordered_json usage_json(apple::hid_usage usage)
{
    return {{"usage_page", usage.page}, {"usage", usage.id}, {"name", apple::hid_usage_label(usage)}};
}

} // namespace

std::string format_descriptor_listing(std::span<std::uint8_t const> bytes,
                                      apple::hid_report_descriptor const& descriptor,
                                      published_report_sizes const& published)
{
    std::string text = fmt::format("Report descriptor: {} bytes\n", bytes.size());
    for (auto const& listed : list_items(bytes))
    {
        auto const name = apple::hid_item_name(listed.item.prefix);
        text += fmt::format("  {:04x}  {:<18}{:{}}{}{}\n", listed.item.offset, item_bytes_text(listed.bytes), "",
                            listed.depth * 2, name, listed.text.empty() ? "" : " (" + listed.text + ")");
    }
    text += "Reports:\n";
    for (auto const& report : descriptor.reports())
        text += fmt::format("  {:<8} id {:<3} {:>5} {}\n", to_string(report.type), report.id, report.byte_size(),
                            report.byte_size() == 1 ? "byte" : "bytes");
    for (auto const type : report_types)
    {
        auto const published_bytes = published_size(published, type);
        if (!published_bytes)
            continue;
        auto const largest = descriptor.max_report_size(type);
        if (static_cast<std::size_t>(*published_bytes) == largest)
            text += fmt::format("  largest {} report: {} {}, as {} says\n", to_string(type), largest,
                                largest == 1 ? "byte" : "bytes", published_key(type));
        else
            text += fmt::format("  largest {} report: {} {}, but {} says {}\n", to_string(type), largest,
                                largest == 1 ? "byte" : "bytes", published_key(type), *published_bytes);
    }
    return text;
}

nlohmann::ordered_json descriptor_listing_to_json(std::span<std::uint8_t const> bytes,
                                                  apple::hid_report_descriptor const& descriptor,
                                                  published_report_sizes const& published)
{
    auto items = nlohmann::ordered_json::array();
    for (auto const& listed : list_items(bytes))
        items.push_back({{"offset", listed.item.offset},
                         {"prefix", fmt::format("0x{:02X}", listed.item.prefix)},
                         {"item", apple::hid_item_name(listed.item.prefix)},
                         {"data", listed.item.data},
                         {"text", listed.text},
                         {"depth", listed.depth}});

    auto collections = nlohmann::ordered_json::array();
    for (auto const& collection : descriptor.collections())
        collections.push_back({{"type", collection_type_name(collection.type)},
                               {"usage", usage_json(collection.usage)},
                               {"parent", collection.parent == apple::hid_collection::no_parent
                                              ? nlohmann::ordered_json(nullptr)
                                              : nlohmann::ordered_json(collection.parent)},
                               {"offset", collection.offset}});

    auto fields = nlohmann::ordered_json::array();
    for (auto const& field : descriptor.fields())
    {
        auto usages = nlohmann::ordered_json::array();
        for (auto const& range : field.usages)
            usages.push_back({{"first", usage_json(apple::hid_usage::from_extended(range.first))},
                              {"last", usage_json(apple::hid_usage::from_extended(range.last))}});
        auto const main_tag = field.type == hid_report_type::input    ? hid_item_tag::input
                              : field.type == hid_report_type::output ? hid_item_tag::output
                                                                      : hid_item_tag::feature;
        fields.push_back({{"type", to_string(field.type)},
                          {"report_id", field.report_id},
                          {"bit_offset", field.bit_offset},
                          {"bit_size", field.bit_size},
                          {"count", field.count},
                          {"flags", main_item_flag_names(field.flags.bits, main_tag)},
                          {"usages", usages},
                          {"logical_minimum", field.logical_minimum},
                          {"logical_maximum", field.logical_maximum},
                          {"physical_minimum", field.physical_minimum},
                          {"physical_maximum", field.physical_maximum},
                          {"unit", field.unit},
                          {"unit_exponent", field.unit_exponent},
                          {"collection", field.collection == apple::hid_collection::no_parent
                                             ? nlohmann::ordered_json(nullptr)
                                             : nlohmann::ordered_json(field.collection)}});
    }

    auto reports = nlohmann::ordered_json::array();
    for (auto const& report : descriptor.reports())
        reports.push_back({{"type", to_string(report.type)}, {"id", report.id}, {"size", report.byte_size()}});

    auto sizes = nlohmann::ordered_json::object();
    for (auto const type : report_types)
    {
        auto const published_bytes = published_size(published, type);
        sizes[std::string(to_string(type))] = {
            {"largest", descriptor.max_report_size(type)},
            {"published", published_bytes ? nlohmann::ordered_json(*published_bytes) : nlohmann::ordered_json(nullptr)},
            {"agrees",
             !published_bytes || static_cast<std::size_t>(*published_bytes) == descriptor.max_report_size(type)}};
    }
    return {{"size", bytes.size()}, {"items", items},     {"collections", collections},
            {"fields", fields},     {"reports", reports}, {"report_sizes", sizes}};
}

} // namespace plinth::ioreg_tool
