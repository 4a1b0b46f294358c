// Parses arbitrary bytes as a HID report descriptor and, when they parse, decodes arbitrary
// reports of every report it defines, reads each usage it finds, writes values back and
// builds reports, checking what must hold whatever the descriptor: fields inside their
// reports, a write touching only its item's bits, a written value read back unchanged,
// and every usage named.
//
// Input layout: one byte N, then N * 4 bytes of descriptor (so that short inputs still
// give descriptors of useful length), then report bytes for decoding.
#include "hid/report_descriptor.hpp"
#include "hid/usage_names.hpp"

#include <boost/system/error_code.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

namespace {

using namespace plinth::apple;

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void check_layout(hid_report_descriptor const& descriptor)
{
    for (auto const& report : descriptor.reports())
    {
        require(report.byte_size() <= 64 * 1024 + 1);
        require(descriptor.report(report.type, report.id) == &report);
        for (auto const index : report.fields)
        {
            auto const& field = descriptor.fields().at(index);
            require(field.type == report.type && field.report_id == report.id);
            require(field.bit_end() <= report.bit_size);
        }
    }
    for (auto const& collection : descriptor.collections())
        require(collection.parent == hid_collection::no_parent || collection.parent < descriptor.collections().size());
}

// Writes one value into a copy of `report` and checks that it reads back and that no
// other byte changed outside the item's bits.
void check_write(hid_report_descriptor const& descriptor, hid_field_ref where, std::vector<std::uint8_t> report,
                 std::int32_t logical)
{
    auto const& field = descriptor.fields()[where.field];
    if (field.flags.is_array())
        return;
    auto const before = report;
    try
    {
        descriptor.write(where, logical, report);
    }
    catch (boost::system::system_error const&)
    {
        require(report == before); // the value does not fit the item: refused, nothing changed
        return;
    }
    require(descriptor.read(where, report) == logical);
    auto const first_bit =
        std::size_t{field.bit_offset} + std::size_t{field.bit_size} * where.item + (field.report_id != 0 ? 8 : 0);
    auto const last_bit = first_bit + field.bit_size;
    for (std::size_t byte = 0; byte < report.size(); ++byte)
    {
        unsigned mask = 0xFF; // the bits of this byte outside the item
        for (std::size_t bit = byte * 8; bit < byte * 8 + 8; ++bit)
            if (bit >= first_bit && bit < last_bit)
                mask &= ~(1u << (bit % 8));
        require(((report[byte] ^ before[byte]) & mask) == 0);
    }
}

void exercise_report(hid_report_descriptor const& descriptor, hid_report_info const& info,
                     std::span<std::uint8_t const> bytes)
{
    std::vector<std::uint8_t> report(info.byte_size());
    for (std::size_t i = 0; i < report.size() && i < bytes.size(); ++i)
        report[i] = bytes[i];
    if (info.id != 0)
        report[0] = info.id;

    std::vector<hid_value> values;
    boost::system::error_code ec;
    descriptor.decode(info.type, info.id, report, values, ec);
    require(!ec);
    // Writes check the whole report each time: a few per report keep a run fast
    // whatever the report's size.
    std::size_t writes_left = 16;
    for (auto const& value : values)
    {
        auto const& field = descriptor.fields().at(value.where.field);
        require(field.type == info.type && field.report_id == info.id);
        require(value.in_range == field.in_logical_range(value.logical));
        (void)hid_usage_label(value.usage);
        (void)field.physical_value(value.logical);
        auto const found = descriptor.find(info.type, value.usage);
        require(found.has_value());
        if (field.flags.is_variable() && writes_left > 0)
        {
            --writes_left;
            check_write(descriptor, value.where, report, value.logical ^ 1);
        }
    }

    // A report one byte short, or with the wrong ID, is refused, never read past.
    if (!report.empty())
    {
        descriptor.decode(info.type, info.id, std::span(report).first(report.size() - 1), values, ec);
        require(ec.failed());
    }
    auto made = descriptor.make_report(info.type, info.id);
    require(made.size() == info.byte_size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    if (size == 0)
        return 0;
    auto const descriptor_size = std::min<std::size_t>(std::size_t{data[0]} * 4, size - 1);
    std::span<std::uint8_t const> const descriptor_bytes(data + 1, descriptor_size);
    std::span<std::uint8_t const> const report_bytes(data + 1 + descriptor_size, size - 1 - descriptor_size);

    boost::system::error_code ec;
    hid_descriptor_problem problem;
    auto const descriptor = hid_report_descriptor::parse(descriptor_bytes, ec, &problem);
    if (ec)
    {
        require(ec == hid_errc::bad_report_descriptor);
        require(problem.offset < descriptor_bytes.size() || descriptor_bytes.empty());
        require(!problem.message().empty());
        return 0;
    }
    check_layout(descriptor);
    for (auto const& field : descriptor.fields())
        for (auto const& range : field.usages)
            (void)hid_usage_label(hid_usage::from_extended(range.first));
    for (auto const& info : descriptor.reports())
        exercise_report(descriptor, info, report_bytes);
    return 0;
}
