// descriptor_parser: the meaning of each item, the checks that reject a malformed descriptor, and the reports.
#include "hid/detail/descriptor_parser.hpp"

#include "hid/descriptor_error.hpp"

#include <fmt/format.h>

#include <limits>

namespace plinth::apple::detail {
namespace {

// A maximum is signed only when its minimum is negative, so that "Logical Maximum
// (255)" in one byte is 255. Unsigned maxima past what an int32_t holds are taken
// as its largest value: the fields' values are int32_t throughout.
std::int32_t resolve_maximum(raw_maximum maximum, std::int32_t minimum) noexcept
{
    if (minimum < 0)
        return hid_sign_extend(maximum.data, maximum.size);
    if (maximum.data > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()))
        return std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(maximum.data);
}

// The item's low nibble as a 4-bit two's complement number, which also reads a
// whole signed byte of -8..7 right.
std::int8_t unit_exponent_of(std::uint32_t data) noexcept
{
    auto const nibble = static_cast<std::int8_t>(data & 0xF);
    return nibble >= 8 ? static_cast<std::int8_t>(nibble - 16) : nibble;
}

std::size_t report_slot(hid_report_type type, std::uint8_t id) noexcept
{
    return static_cast<std::size_t>(type) * 256 + id;
}

} // namespace

void descriptor_parser::fail(std::size_t offset, std::uint8_t prefix, std::string problem)
{
    throw hid_descriptor_error({offset, prefix, std::move(problem)});
}

parsed_descriptor descriptor_parser::run() &&
{
    while (auto const item = reader_.next())
    {
        if (item->is_long)
            continue; // no long item tags are defined: skipped whole
        switch (item->kind())
        {
        case hid_item_kind::main: on_main(*item); break;
        case hid_item_kind::global: on_global(*item); break;
        case hid_item_kind::local: on_local(*item); break;
        case hid_item_kind::reserved: break;
        }
    }
    if (!open_collections_.empty())
    {
        auto const& open = open_collections_.back();
        fail(open.offset, open.prefix, "Collection never closed by an End Collection");
    }
    collect_reports();
    return std::move(result_);
}

void descriptor_parser::on_main(hid_descriptor_item const& item)
{
    switch (item.tag())
    {
    case hid_item_tag::input:
    case hid_item_tag::output:
    case hid_item_tag::feature:
    case hid_item_tag::collection:
    case hid_item_tag::end_collection: break;
    default: return; // a reserved Main item tag: skipped, and the local items stay
    }
    check_usage_bounds();
    switch (item.tag())
    {
    case hid_item_tag::input: add_field(item, hid_report_type::input); break;
    case hid_item_tag::output: add_field(item, hid_report_type::output); break;
    case hid_item_tag::feature: add_field(item, hid_report_type::feature); break;
    case hid_item_tag::collection: open_collection(item); break;
    default: close_collection(item); break;
    }
    local_ = local_state{};
}

void descriptor_parser::on_global(hid_descriptor_item const& item)
{
    switch (item.tag())
    {
    case hid_item_tag::usage_page: global_.usage_page = static_cast<std::uint16_t>(item.data & 0xFFFF); break;
    case hid_item_tag::logical_minimum: global_.logical_minimum = item.signed_data(); break;
    case hid_item_tag::logical_maximum: global_.logical_maximum = {item.data, item.size}; break;
    case hid_item_tag::physical_minimum: global_.physical_minimum = item.signed_data(); break;
    case hid_item_tag::physical_maximum: global_.physical_maximum = {item.data, item.size}; break;
    case hid_item_tag::unit_exponent: global_.unit_exponent = unit_exponent_of(item.data); break;
    case hid_item_tag::unit: global_.unit = item.data; break;
    case hid_item_tag::report_size:
        if (item.data > max_report_bits)
            fail(item, fmt::format("Report Size {} bits is more than a report of 64 KiB holds", item.data));
        global_.report_size = item.data;
        break;
    case hid_item_tag::report_count:
        if (item.data > max_report_bits)
            fail(item, fmt::format("Report Count {} is more than a report of 64 KiB holds", item.data));
        global_.report_count = item.data;
        break;
    case hid_item_tag::report_id:
        if (item.data == 0)
            fail(item, "Report ID 0 is reserved for descriptors that number no reports");
        if (item.data > 255)
            fail(item, fmt::format("Report ID {} is above 255", item.data));
        global_.report_id = static_cast<std::uint8_t>(item.data);
        result_.numbered = true;
        break;
    case hid_item_tag::push: pushed_.push_back(global_); break;
    case hid_item_tag::pop:
        if (pushed_.empty())
            fail(item, "Pop without a Push");
        global_ = pushed_.back();
        pushed_.pop_back();
        break;
    default: break; // a reserved Global item tag
    }
}

void descriptor_parser::on_local(hid_descriptor_item const& item)
{
    // A Usage of one or two bytes is on the page in effect; one of four bytes names its page.
    std::uint32_t const usage = item.size == 4 ? item.data : (std::uint32_t{global_.usage_page} << 16) | item.data;
    switch (item.tag())
    {
    case hid_item_tag::usage:
        if (local_.takes_usage())
            local_.add({usage, usage});
        break;
    case hid_item_tag::usage_minimum: set_usage_bound(item, local_.usage_minimum); break;
    case hid_item_tag::usage_maximum: set_usage_bound(item, local_.usage_maximum); break;
    case hid_item_tag::delimiter:
        if (item.data == 1)
        {
            if (!local_.in_delimiter_set)
                local_.delimiter_set_has_usage = false;
            local_.in_delimiter_set = true;
        }
        else if (item.data == 0)
        {
            local_.in_delimiter_set = false;
        }
        break;
    default: break; // designators and strings say nothing about the report's layout
    }
}

void descriptor_parser::set_usage_bound(hid_descriptor_item const& item, std::optional<usage_bound>& bound)
{
    if (!local_.takes_usage())
        return;
    // A second bound of the same kind leaves the first one without its partner.
    if (bound)
        fail(bound->offset, bound->prefix,
             &bound == &local_.usage_minimum ? "Usage Minimum without a Usage Maximum"
                                             : "Usage Maximum without a Usage Minimum");
    std::uint32_t const usage = item.size == 4 ? item.data : (std::uint32_t{global_.usage_page} << 16) | item.data;
    bound = usage_bound{usage, item.offset, item.prefix};
    if (!local_.usage_minimum || !local_.usage_maximum)
        return;
    auto const first = local_.usage_minimum->usage;
    auto const last = local_.usage_maximum->usage;
    if (first > last)
        fail(item, fmt::format("Usage Minimum 0x{:08X} is above Usage Maximum 0x{:08X}", first, last));
    local_.add({first, last});
    local_.usage_minimum.reset();
    local_.usage_maximum.reset();
}

void descriptor_parser::check_usage_bounds() const
{
    if (local_.usage_minimum && !local_.usage_maximum)
        fail(local_.usage_minimum->offset, local_.usage_minimum->prefix, "Usage Minimum without a Usage Maximum");
    if (local_.usage_maximum && !local_.usage_minimum)
        fail(local_.usage_maximum->offset, local_.usage_maximum->prefix, "Usage Maximum without a Usage Minimum");
}

void descriptor_parser::add_field(hid_descriptor_item const& item, hid_report_type type)
{
    hid_field field;
    field.type = type;
    field.report_id = global_.report_id;
    field.bit_size = global_.report_size;
    field.count = global_.report_count;
    field.flags = hid_main_item_flags{item.data};
    // Data items are read into int32_t; constant ones (padding) may be of any size.
    if (!field.flags.is_constant() && field.count > 0 && (field.bit_size == 0 || field.bit_size > 32))
        fail(item, fmt::format("Report Size {} for {} data items; a data item takes 1 to 32 bits", field.bit_size,
                               field.count));
    auto const slot = report_slot(type, field.report_id);
    // Both factors are at most 64 KiB of bits, so the sum cannot wrap.
    std::uint64_t const end = report_bits_[slot] + std::uint64_t{field.bit_size} * field.count;
    if (end > max_report_bits)
        fail(item,
             fmt::format("{} report {} would take {} bits, more than 64 KiB", to_string(type), field.report_id, end));
    field.bit_offset = static_cast<std::uint32_t>(report_bits_[slot]);
    report_bits_[slot] = end;
    report_defined_[slot] = true;

    field.usages = std::move(local_.usages);
    field.logical_minimum = global_.logical_minimum;
    field.logical_maximum = resolve_maximum(global_.logical_maximum, global_.logical_minimum);
    field.physical_minimum = global_.physical_minimum;
    field.physical_maximum = resolve_maximum(global_.physical_maximum, global_.physical_minimum);
    field.unit = global_.unit;
    field.unit_exponent = global_.unit_exponent;
    field.collection = open_collections_.empty() ? hid_collection::no_parent : open_collections_.back().index;
    field.offset = item.offset;
    result_.fields.push_back(std::move(field));
}

void descriptor_parser::open_collection(hid_descriptor_item const& item)
{
    hid_collection collection;
    collection.type = static_cast<std::uint8_t>(item.data & 0xFF);
    if (!local_.usages.empty())
        collection.usage = hid_usage::from_extended(local_.usages.front().first);
    collection.parent = open_collections_.empty() ? hid_collection::no_parent : open_collections_.back().index;
    collection.depth = open_collections_.size();
    collection.offset = item.offset;
    open_collections_.push_back({result_.collections.size(), item.offset, item.prefix});
    result_.collections.push_back(collection);
}

void descriptor_parser::close_collection(hid_descriptor_item const& item)
{
    if (open_collections_.empty())
        fail(item, "End Collection without a Collection");
    open_collections_.pop_back();
}

void descriptor_parser::collect_reports()
{
    std::array<std::size_t, report_slots> index_of_slot{};
    for (std::size_t slot = 0; slot < report_slots; ++slot)
    {
        if (!report_defined_[slot])
            continue;
        index_of_slot[slot] = result_.reports.size();
        hid_report_info report;
        report.type = static_cast<hid_report_type>(slot / 256);
        report.id = static_cast<std::uint8_t>(slot % 256);
        report.bit_size = static_cast<std::uint32_t>(report_bits_[slot]);
        result_.reports.push_back(std::move(report));
    }
    for (std::size_t i = 0; i < result_.fields.size(); ++i)
    {
        auto const& field = result_.fields[i];
        result_.reports[index_of_slot[report_slot(field.type, field.report_id)]].fields.push_back(i);
    }
}

} // namespace plinth::apple::detail
