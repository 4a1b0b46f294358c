// hid_element_layout: a device's element list, built from its report descriptor as the HID family builds it.
#include "sim/detail/hid/hid_element_layout.hpp"

#include "hid/report_descriptor.hpp"

#include <algorithm>
#include <set>

namespace plinth::sim::detail {
namespace {

using apple::hid_collection;
using apple::hid_field;
using apple::hid_report_type;

constexpr std::uint32_t array_usage_id = 0xFFFFFFFF;

IOHIDReportType report_type_of(hid_report_type type)
{
    switch (type)
    {
    case hid_report_type::input: return kIOHIDReportTypeInput;
    case hid_report_type::output: return kIOHIDReportTypeOutput;
    case hid_report_type::feature: return kIOHIDReportTypeFeature;
    }
    return kIOHIDReportTypeInput;
}

IOHIDElementType element_type(hid_report_type type, bool button)
{
    switch (type)
    {
    case hid_report_type::input: return button ? kIOHIDElementTypeInput_Button : kIOHIDElementTypeInput_Misc;
    case hid_report_type::output: return kIOHIDElementTypeOutput;
    case hid_report_type::feature: return kIOHIDElementTypeFeature;
    }
    return kIOHIDElementTypeInput_Misc;
}

// An array item, or a one-bit variable one, is a button; anything else a value.
bool is_button(hid_field const& field)
{
    return field.flags.is_array() || field.bit_size == 1;
}

bool bit_at(std::span<std::uint8_t const> bytes, std::uint64_t bit)
{
    auto const byte = bit / 8;
    return byte < bytes.size() && ((bytes[byte] >> (bit % 8)) & 1U) != 0;
}

std::int64_t item_at(std::span<std::uint8_t const> report, std::uint32_t offset, std::uint32_t bits, bool is_signed)
{
    std::uint64_t raw = 0;
    for (std::uint32_t k = 0; k < bits && k < 64; ++k)
        if (bit_at(report, std::uint64_t{offset} + k))
            raw |= std::uint64_t{1} << k;
    if (is_signed && bits > 0 && bits < 64 && ((raw >> (bits - 1)) & 1U) != 0)
        raw |= ~std::uint64_t{0} << bits;
    return static_cast<std::int64_t>(raw);
}

// The element fields a descriptor field gives all its elements.
hid_element_info from_field(hid_field const& field, bool numbered, bool button)
{
    hid_element_info element;
    element.what = hid_element_info::kind::data;
    element.type = element_type(field.type, button);
    element.report_id = field.report_id;
    element.report_size = field.bit_size;
    element.report_count = 1;
    element.flags = field.flags.bits & 0x1FF;
    element.logical_min = field.logical_minimum;
    element.logical_max = field.logical_maximum;
    // A descriptor that gives no physical range means the logical one.
    bool const no_physical = field.physical_minimum == 0 && field.physical_maximum == 0;
    element.physical_min = no_physical ? field.logical_minimum : field.physical_minimum;
    element.physical_max = no_physical ? field.logical_maximum : field.physical_maximum;
    element.unit = field.unit;
    element.unit_exponent = field.unit_exponent;
    element.parent =
        field.collection == hid_collection::no_parent ? 0 : static_cast<std::uint32_t>(field.collection + 1);
    element.bit_offset = field.bit_offset + (numbered ? 8 : 0);
    element.bit_length = field.bit_size;
    return element;
}

void add_usage(hid_element_info& element, std::uint32_t extended)
{
    element.usage_page = extended >> 16;
    element.usage = extended & 0xFFFF;
}

// An array field: its own element, then one per usage its logical range can select.
void add_array(std::vector<hid_element_info>& out, hid_field const& field, bool numbered)
{
    auto array = from_field(field, numbered, true);
    array.is_array = true;
    array.report_count = field.count;
    array.bit_length = field.bit_size * field.count;
    array.usage_page = field.usages.empty() ? 0 : field.usages.front().first >> 16;
    array.usage = array_usage_id;
    out.push_back(array);

    std::int64_t const slots = field.logical_maximum < field.logical_minimum
                                   ? 0
                                   : std::int64_t{field.logical_maximum} - field.logical_minimum + 1;
    std::int64_t position = 0;
    for (auto const& range : field.usages)
        for (std::uint64_t u = range.first; u <= range.last && position < slots; ++u, ++position)
        {
            auto element = from_field(field, numbered, true);
            element.what = hid_element_info::kind::array_usage;
            add_usage(element, static_cast<std::uint32_t>(u));
            element.flags |= kIOHIDElementFlagsVariableMask;
            element.report_count = field.count;
            element.bit_length = 1;
            element.logical_min = element.physical_min = 0;
            element.logical_max = element.physical_max = 1;
            element.selector = field.logical_minimum + position;
            out.push_back(element);
        }
}

void add_field(std::vector<hid_element_info>& out, hid_field const& field, bool numbered, bool buttons)
{
    if (field.is_padding() || field.count == 0 || is_button(field) != buttons)
        return;
    if (field.flags.is_array())
    {
        add_array(out, field, numbered);
        return;
    }
    // A value item counted several times under one usage is one element holding
    // all its items (a buffer); otherwise each item is an element of its own.
    bool const one_usage = field.usages.size() == 1 && field.usages.front().size() == 1;
    if (!buttons && one_usage && field.count > 1)
    {
        auto element = from_field(field, numbered, false);
        add_usage(element, field.usages.front().first);
        element.report_count = field.count;
        element.bit_length = field.bit_size * field.count;
        out.push_back(element);
        return;
    }
    for (std::uint32_t i = 0; i < field.count; ++i)
    {
        auto element = from_field(field, numbered, buttons);
        if (auto const usage = field.usage_of_item(i))
            add_usage(element, usage->extended());
        element.bit_offset += i * field.bit_size;
        out.push_back(element);
    }
}

} // namespace

hid_element_layout::hid_element_layout(apple::hid_report_descriptor const& descriptor)
{
    // The kernel's root: a virtual collection that holds the top-level ones.
    hid_element_info root;
    root.what = hid_element_info::kind::collection;
    root.is_virtual = true;
    elements_.push_back(root);
    for (auto const& c : descriptor.collections())
    {
        hid_element_info element;
        element.what = hid_element_info::kind::collection;
        element.collection_type = c.type;
        add_usage(element, c.usage.extended());
        element.parent = c.parent == hid_collection::no_parent ? 0 : static_cast<std::uint32_t>(c.parent + 1);
        elements_.push_back(element);
    }

    std::set<std::uint32_t> ids;
    for (auto const& r : descriptor.reports())
    {
        ids.insert(r.id);
        reports_.push_back({report_type_of(r.type), r.id, r.byte_size()});
    }
    for (auto const id : ids)
    {
        hid_element_info element;
        element.what = hid_element_info::kind::null_placeholder;
        element.type = kIOHIDElementTypeInput_NULL;
        element.report_id = id;
        element.parent = 0;
        elements_.push_back(element);
    }

    bool const numbered = descriptor.numbers_reports();
    for (bool const buttons : {true, false})
        for (auto const type : {hid_report_type::input, hid_report_type::output, hid_report_type::feature})
            for (auto const& field : descriptor.fields())
                if (field.type == type)
                    add_field(elements_, field, numbered, buttons);

    // The report handlers carry whole input reports; they belong to no collection.
    for (auto const& r : descriptor.reports())
        if (r.type == hid_report_type::input)
        {
            hid_element_info element;
            element.what = hid_element_info::kind::report_handler;
            element.type = kIOHIDElementTypeInput_Misc;
            element.report_id = r.id;
            element.bit_length = static_cast<std::uint32_t>(r.byte_size() * 8);
            element.report_size = element.bit_length;
            element.report_count = 1;
            element.flags = kIOHIDElementFlagsVariableMask;
            elements_.push_back(element);
        }

    for (std::uint32_t cookie = 0; cookie < elements_.size(); ++cookie)
    {
        auto& element = elements_[cookie];
        element.cookie = cookie;
        if (element.parent)
            elements_[*element.parent].children.push_back(cookie);
    }
}

std::shared_ptr<hid_element_layout const> hid_element_layout::of_descriptor(std::span<std::uint8_t const> bytes)
{
    boost::system::error_code ec;
    auto const descriptor = apple::hid_report_descriptor::parse(bytes, ec);
    if (ec)
        return nullptr;
    return std::make_shared<hid_element_layout const>(descriptor);
}

std::size_t hid_element_layout::report_bytes(IOHIDReportType type, std::uint32_t report_id) const noexcept
{
    for (auto const& r : reports_)
        if (r.type == type && r.id == report_id)
            return r.bytes;
    return 0;
}

std::vector<std::uint8_t> hid_element_layout::read(hid_element_info const& element,
                                                   std::span<std::uint8_t const> report)
{
    std::vector<std::uint8_t> value(element.byte_length(), 0);
    if (element.what == hid_element_info::kind::array_usage)
    {
        for (std::uint32_t i = 0; i < element.report_count; ++i)
            if (item_at(report, element.bit_offset + i * element.report_size, element.report_size,
                        element.selector < 0) == element.selector)
                value[0] = 1;
        return value;
    }
    for (std::uint32_t k = 0; k < element.bit_length; ++k)
        if (bit_at(report, std::uint64_t{element.bit_offset} + k))
            value[k / 8] = static_cast<std::uint8_t>(value[k / 8] | (1U << (k % 8)));
    return value;
}

void hid_element_layout::write(hid_element_info const& element, std::span<std::uint8_t const> value,
                               std::span<std::uint8_t> report)
{
    auto const set_bit = [&](std::uint64_t bit, bool on) {
        auto const byte = bit / 8;
        if (byte >= report.size())
            return;
        auto const mask = static_cast<std::uint8_t>(1U << (bit % 8));
        report[byte] = static_cast<std::uint8_t>(on ? report[byte] | mask : report[byte] & ~mask);
    };
    if (element.what == hid_element_info::kind::array_usage)
    {
        // Held: the first empty item (or one that holds it already) selects it;
        // released: every item that selects it becomes empty.
        bool const held = !value.empty() && value[0] != 0;
        auto const put = [&](std::uint32_t i, std::int64_t selected) {
            for (std::uint32_t k = 0; k < element.report_size; ++k)
                set_bit(std::uint64_t{element.bit_offset} + i * element.report_size + k, ((selected >> k) & 1) != 0);
        };
        bool placed = false;
        for (std::uint32_t i = 0; i < element.report_count; ++i)
        {
            auto const current = item_at(report, element.bit_offset + i * element.report_size, element.report_size,
                                         element.selector < 0);
            if (current == element.selector && (!held || placed))
                put(i, 0);
            else if (current == element.selector)
                placed = true;
        }
        for (std::uint32_t i = 0; held && !placed && i < element.report_count; ++i)
            if (item_at(report, element.bit_offset + i * element.report_size, element.report_size, false) == 0)
            {
                put(i, element.selector);
                placed = true;
            }
        return;
    }
    for (std::uint32_t k = 0; k < element.bit_length; ++k)
        set_bit(std::uint64_t{element.bit_offset} + k, k / 8 < value.size() && ((value[k / 8] >> (k % 8)) & 1U) != 0);
}

CFIndex hid_element_layout::integer(hid_element_info const& element, std::span<std::uint8_t const> value)
{
    std::uint64_t raw = 0;
    for (std::size_t i = 0; i < value.size() && i < 8; ++i)
        raw |= std::uint64_t{value[i]} << (8 * i);
    auto const bits = element.bit_length;
    if (element.is_signed() && bits > 0 && bits < 64 && ((raw >> (bits - 1)) & 1U) != 0)
        raw |= ~std::uint64_t{0} << bits;
    return static_cast<CFIndex>(raw);
}

} // namespace plinth::sim::detail
