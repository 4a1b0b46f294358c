// hid_element_layout: a device's element list, built from its report descriptor as the HID family builds it.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDDeviceTypes.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace plinth::apple {
class hid_report_descriptor;
}

namespace plinth::sim::detail {

// One element as the kernel describes it: what it is, and where its value lies
// in its report.
struct hid_element_info
{
    enum class kind : std::uint8_t
    {
        collection,
        null_placeholder, // the Input_NULL element of a report ID
        data,             // a variable item (or an array field's own element)
        array_usage,      // one usage an array field can hold: 1 while held
        report_handler,   // carries a whole input report
    };

    kind what = kind::data;
    std::uint32_t cookie = 0;
    IOHIDElementType type = kIOHIDElementTypeCollection;
    std::uint32_t collection_type = 0;
    std::uint32_t usage_page = 0;
    std::uint32_t usage = 0;
    std::uint32_t report_id = 0;
    std::uint32_t report_size = 0; // bits per item
    std::uint32_t report_count = 0;
    std::uint32_t flags = 0;
    std::int32_t logical_min = 0;
    std::int32_t logical_max = 0;
    std::int32_t physical_min = 0;
    std::int32_t physical_max = 0;
    std::uint32_t unit = 0;
    std::int8_t unit_exponent = 0;
    bool is_virtual = false;
    bool is_array = false;
    std::optional<std::uint32_t> parent; // cookie
    std::vector<std::uint32_t> children; // cookies, in cookie order

    // Where the value lies: bits from the report's first byte (its ID byte
    // included), and how many. For an array usage, the array field's items.
    std::uint32_t bit_offset = 0;
    std::uint32_t bit_length = 0;
    // An array usage: the logical value that selects it.
    std::int64_t selector = 0;

    bool is_input() const noexcept
    {
        return type >= kIOHIDElementTypeInput_Misc && type <= kIOHIDElementTypeInput_NULL;
    }
    bool carries_value() const noexcept { return what != kind::collection && what != kind::null_placeholder; }
    bool is_signed() const noexcept { return logical_min < 0; }
    // The bytes of its value.
    std::size_t byte_length() const noexcept { return (bit_length + 7) / 8; }
};

// The elements of one device in cookie order, with the sizes of its reports.
class hid_element_layout
{
public:
    // The layout of a parsed descriptor.
    explicit hid_element_layout(apple::hid_report_descriptor const& descriptor);
    // The layout of a "ReportDescriptor" property's bytes; nullptr when they do not parse.
    static std::shared_ptr<hid_element_layout const> of_descriptor(std::span<std::uint8_t const> bytes);

    std::vector<hid_element_info> const& elements() const noexcept { return elements_; }
    // The bytes a report of that type and ID takes (its ID byte included); 0 when the descriptor has none.
    std::size_t report_bytes(IOHIDReportType type, std::uint32_t report_id) const noexcept;

    // The element's value in `report` (its bytes as delivered): a copy of its bits,
    // least significant first; for an array usage, one byte 1 while an item of the
    // array selects it, else 0. Bits past a short report read as 0.
    static std::vector<std::uint8_t> read(hid_element_info const& element, std::span<std::uint8_t const> report);
    // Writes `value` (as read() gives it) into the element's bits of `report`.
    static void write(hid_element_info const& element, std::span<std::uint8_t const> value,
                      std::span<std::uint8_t> report);
    // The integer a value's bytes mean for the element: sign-extended when its
    // logical minimum is negative and it fits 32 bits.
    static CFIndex integer(hid_element_info const& element, std::span<std::uint8_t const> value);

private:
    struct report_size
    {
        IOHIDReportType type;
        std::uint32_t id;
        std::size_t bytes;
    };

    std::vector<hid_element_info> elements_;
    std::vector<report_size> reports_;
};

} // namespace plinth::sim::detail
