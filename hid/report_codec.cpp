// hid_report_descriptor: decoding reports into usages and values, and reading and writing single items.
#include "hid/report_descriptor.hpp"

#include "hid/detail/bit_field.hpp"

#include <boost/system/errc.hpp>
#include <boost/system/system_error.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace plinth::apple {
namespace {

using boost::system::system_error;

system_error mismatch(std::string const& why)
{
    return system_error(make_error_code(hid_errc::report_mismatch), why);
}

system_error invalid_argument(std::string const& why)
{
    return system_error(make_error_code(boost::system::errc::invalid_argument), why);
}

// The report's bytes after its report ID byte, which only numbered reports have.
template <typename Byte>
std::span<Byte> payload(std::span<Byte> report, std::uint8_t id) noexcept
{
    return report.subspan(id != 0 ? 1 : 0);
}

// Whether decode() reads the field: it means something, and its items fit an int32_t.
bool is_decoded(hid_field const& field) noexcept
{
    return !field.usages.empty() && field.bit_size >= 1 && field.bit_size <= 32;
}

std::int32_t item_value(hid_field const& field, std::span<std::uint8_t const> data, std::uint32_t item) noexcept
{
    auto const raw =
        detail::extract_bits(data, field.bit_offset + std::uint64_t{item} * field.bit_size, field.bit_size);
    return detail::to_logical(raw, field.bit_size, field.is_signed());
}

void put_item(hid_field const& field, std::span<std::uint8_t> data, std::uint32_t item, std::int32_t logical) noexcept
{
    detail::insert_bits(data, field.bit_offset + std::uint64_t{item} * field.bit_size, field.bit_size,
                        static_cast<std::uint32_t>(logical));
}

// An array item holding `logical` is empty when the value selects no usage, or usage 0 ("no event").
bool selects_nothing(hid_field const& field, std::int32_t logical) noexcept
{
    auto const usage = field.usage_of_value(logical);
    return !usage || usage->id == 0;
}

void decode_variable(std::size_t index, hid_field const& field, std::span<std::uint8_t const> data,
                     std::vector<hid_value>& out)
{
    // Walks the ranges alongside the items rather than counting from the start for each.
    auto range = field.usages.begin();
    std::uint64_t within = 0;
    for (std::uint32_t item = 0; item < field.count; ++item)
    {
        std::uint32_t usage = field.usages.back().last; // repeats past the ranges
        if (range != field.usages.end())
        {
            usage = static_cast<std::uint32_t>(range->first + within);
            if (++within == range->size())
            {
                ++range;
                within = 0;
            }
        }
        auto const logical = item_value(field, data, item);
        out.push_back({{index, item}, hid_usage::from_extended(usage), logical, field.in_logical_range(logical)});
    }
}

void decode_array(std::size_t index, hid_field const& field, std::span<std::uint8_t const> data,
                  std::vector<hid_value>& out)
{
    for (std::uint32_t item = 0; item < field.count; ++item)
    {
        auto const logical = item_value(field, data, item);
        auto const usage = field.usage_of_value(logical);
        if (!usage || usage->id == 0)
            continue;
        auto const position = static_cast<std::uint32_t>(std::int64_t{logical} - field.logical_minimum);
        out.push_back({{index, position}, *usage, logical, true});
    }
}

} // namespace

hid_report_info const* hid_report_descriptor::checked_report(hid_report_type type, std::uint8_t id,
                                                             std::span<std::uint8_t const> report,
                                                             std::string* why) const
{
    auto const* info = this->report(type, id);
    if (!info)
    {
        if (why)
            *why = fmt::format("the descriptor defines no {} report {}", to_string(type), id);
        return nullptr;
    }
    if (report.size() < info->byte_size())
    {
        if (why)
            *why = fmt::format("{} report {} takes {} bytes, not {}", to_string(type), id, info->byte_size(),
                               report.size());
        return nullptr;
    }
    if (id != 0 && report[0] != id)
    {
        if (why)
            *why = fmt::format("the report's first byte is {}, not its report ID {}", report[0], id);
        return nullptr;
    }
    return info;
}

hid_field const& hid_report_descriptor::checked_field(hid_field_ref where) const
{
    if (where.field >= fields_.size())
        throw invalid_argument(fmt::format("the descriptor has no field {}", where.field));
    auto const& field = fields_[where.field];
    if (!is_decoded(field))
        throw invalid_argument(fmt::format("field {} holds no values to read or write", where.field));
    bool const exists = field.flags.is_variable()
                            ? where.item < field.count
                            : field.usage_of_value(std::int64_t{field.logical_minimum} + where.item).has_value();
    if (!exists)
        throw invalid_argument(fmt::format("field {} has no {} {}", where.field,
                                           field.flags.is_variable() ? "item" : "usage at position", where.item));
    return field;
}

void hid_report_descriptor::decode(hid_report_type type, std::uint8_t report_id, std::span<std::uint8_t const> report,
                                   std::vector<hid_value>& out) const
{
    std::string why;
    if (!checked_report(type, report_id, report, &why))
    {
        out.clear();
        throw mismatch(why);
    }
    boost::system::error_code ec;
    decode(type, report_id, report, out, ec);
}

void hid_report_descriptor::decode(hid_report_type type, std::uint8_t report_id, std::span<std::uint8_t const> report,
                                   std::vector<hid_value>& out, boost::system::error_code& ec) const
{
    out.clear();
    ec.clear();
    auto const* info = checked_report(type, report_id, report, nullptr);
    if (!info)
    {
        ec = hid_errc::report_mismatch;
        return;
    }
    auto const data = payload(report, report_id);
    for (auto const index : info->fields)
    {
        auto const& field = fields_[index];
        if (!is_decoded(field))
            continue; // padding, or items too wide for a value
        if (field.flags.is_variable())
            decode_variable(index, field, data, out);
        else
            decode_array(index, field, data, out);
    }
}

std::int32_t hid_report_descriptor::read(hid_field_ref where, std::span<std::uint8_t const> report) const
{
    auto const& field = checked_field(where);
    std::string why;
    if (!checked_report(field.type, field.report_id, report, &why))
        throw mismatch(why);
    auto const data = payload(report, field.report_id);
    if (field.flags.is_variable())
        return item_value(field, data, where.item);
    std::int64_t const selecting = std::int64_t{field.logical_minimum} + where.item;
    for (std::uint32_t item = 0; item < field.count; ++item)
        if (item_value(field, data, item) == selecting)
            return 1;
    return 0;
}

std::optional<std::int32_t> hid_report_descriptor::value(hid_report_type type, hid_usage usage,
                                                         std::span<std::uint8_t const> report) const
{
    if (numbered_ && report.empty())
        throw mismatch("an empty report has no report ID byte");
    auto const where = find_in(type, usage, std::nullopt, numbered_ ? report[0] : std::uint8_t{0});
    if (!where)
        return std::nullopt;
    return read(*where, report);
}

std::vector<std::uint8_t> hid_report_descriptor::make_report(hid_report_type type, std::uint8_t id) const
{
    auto const* info = report(type, id);
    if (!info)
        throw mismatch(fmt::format("the descriptor defines no {} report {}", to_string(type), id));
    std::vector<std::uint8_t> bytes(info->byte_size());
    if (id != 0)
        bytes[0] = id;
    return bytes;
}

void hid_report_descriptor::write(hid_field_ref where, std::int32_t logical, std::span<std::uint8_t> report) const
{
    auto const& field = checked_field(where);
    std::string why;
    if (!checked_report(field.type, field.report_id, report, &why))
        throw mismatch(why);
    auto const data = payload(report, field.report_id);
    if (!field.flags.is_variable())
        return write_presence(field, where.item, logical != 0, data);
    if (!detail::fits_bits(logical, field.bit_size, field.is_signed()))
        throw invalid_argument(fmt::format("{} does not fit the {} bits of field {}, {}", logical, field.bit_size,
                                           where.field, field.is_signed() ? "signed" : "unsigned"));
    put_item(field, data, where.item, logical);
}

std::int32_t hid_report_descriptor::empty_array_value(hid_field const& field) const
{
    // 0 when it selects nothing (usage 0 on most keyboards), else the first value past
    // the usages, else a value just outside the logical range.
    std::uint64_t usages = 0;
    for (auto const& range : field.usages)
        usages += range.size();
    std::int64_t const past_usages =
        std::int64_t{field.logical_minimum} + static_cast<std::int64_t>(std::min<std::uint64_t>(usages, 1ull << 33));
    for (std::int64_t const candidate : {std::int64_t{0}, past_usages, std::int64_t{field.logical_minimum} - 1,
                                         std::int64_t{field.logical_maximum} + 1})
    {
        if (!detail::fits_bits(candidate, field.bit_size, field.is_signed()) ||
            candidate > std::numeric_limits<std::int32_t>::max())
            continue;
        auto const value = static_cast<std::int32_t>(candidate);
        if (selects_nothing(field, value))
            return value;
    }
    throw invalid_argument("every value of the array field selects a usage: none leaves an item empty");
}

void hid_report_descriptor::write_presence(hid_field const& field, std::uint32_t position, bool present,
                                           std::span<std::uint8_t> data) const
{
    auto const selecting = static_cast<std::int32_t>(std::int64_t{field.logical_minimum} + position);
    if (present)
    {
        std::optional<std::uint32_t> empty;
        for (std::uint32_t item = 0; item < field.count; ++item)
        {
            auto const held = item_value(field, data, item);
            if (held == selecting)
                return;
            if (!empty && selects_nothing(field, held))
                empty = item;
        }
        if (!empty)
            throw system_error(make_error_code(boost::system::errc::no_buffer_space),
                               "every item of the array field holds a usage");
        if (!detail::fits_bits(selecting, field.bit_size, field.is_signed()))
            throw invalid_argument(fmt::format("{} does not fit the array field's {} bits", selecting, field.bit_size));
        return put_item(field, data, *empty, selecting);
    }
    std::optional<std::int32_t> blank;
    for (std::uint32_t item = 0; item < field.count; ++item)
    {
        if (item_value(field, data, item) != selecting)
            continue;
        if (!blank)
            blank = empty_array_value(field);
        put_item(field, data, item, *blank);
    }
}

void hid_report_descriptor::set(hid_report_type type, hid_usage usage, std::int32_t logical,
                                std::span<std::uint8_t> report) const
{
    if (numbered_ && report.empty())
        throw mismatch("an empty report has no report ID byte");
    auto const where =
        find_in(type, usage, std::nullopt, numbered_ ? std::optional<std::uint8_t>{report[0]} : std::nullopt);
    if (!where)
        throw system_error(make_error_code(hid_errc::no_such_usage),
                           fmt::format("no {} field{} carries usage 0x{:04X}:0x{:04X}", to_string(type),
                                       numbered_ ? fmt::format(" of report {}", report[0]) : "", usage.page, usage.id));
    write(*where, logical, report);
}

} // namespace plinth::apple
