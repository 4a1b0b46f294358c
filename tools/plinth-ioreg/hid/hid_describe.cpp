// hid describe: reading a HID device's "ReportDescriptor" and report sizes, parsing it, listing it.
#include "tools/plinth-ioreg/hid/hid_describe.hpp"

#include "hid/report_descriptor.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/descriptor_listing.hpp"
#include "tools/plinth-ioreg/hid/hid_device_lookup.hpp"
#include "tools/plinth-ioreg/output/json_printer.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"

#include <fmt/format.h>

#include <variant>

namespace plinth::ioreg_tool {
namespace {

std::optional<int> read_size(apple::device const& device, char const* key)
{
    boost::system::error_code ec;
    auto const value = device.get_property_value(key, ec);
    if (!value)
        return std::nullopt;
    auto const* number = std::get_if<property::number>(&value->content);
    if (number == nullptr)
        return std::nullopt;
    return static_cast<int>(number->as_signed());
}

} // namespace

namespace {

property::data read_descriptor_bytes(apple::device const& device, std::uint64_t id)
{
    boost::system::error_code ec;
    auto value = device.get_property_value("ReportDescriptor", ec);
    auto* bytes = value ? std::get_if<property::data>(&value->content) : nullptr;
    if (bytes == nullptr)
        throw tool_error(fmt::format("{} has no report descriptor", format_entry_id(id)));
    return std::move(*bytes);
}

apple::hid_report_descriptor parse_descriptor(property::data const& bytes, std::uint64_t id)
{
    boost::system::error_code ec;
    apple::hid_descriptor_problem problem;
    auto descriptor = apple::hid_report_descriptor::parse(bytes, ec, &problem);
    if (ec)
        throw tool_error(
            fmt::format("the report descriptor of {} is malformed: {}", format_entry_id(id), problem.message()));
    return descriptor;
}

} // namespace

apple::hid_report_descriptor read_report_descriptor(apple::device const& device, std::uint64_t id)
{
    return parse_descriptor(read_descriptor_bytes(device, id), id);
}

std::string describe_hid_device(std::uint64_t id, bool as_json)
{
    auto const device = find_hid_device(id);
    auto const bytes = read_descriptor_bytes(device, id);
    auto const descriptor = parse_descriptor(bytes, id);
    published_report_sizes const published{read_size(device, "MaxInputReportSize"),
                                           read_size(device, "MaxOutputReportSize"),
                                           read_size(device, "MaxFeatureReportSize")};
    if (as_json)
        return to_text(descriptor_listing_to_json(bytes, descriptor, published));
    return format_descriptor_listing(bytes, descriptor, published);
}

} // namespace plinth::ioreg_tool
