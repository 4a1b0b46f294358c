// hid_field: one Input, Output or Feature item of a report descriptor, as it lies in its report.
#pragma once

#include "hid/main_item_flags.hpp"
#include "hid/report_type.hpp"
#include "hid/usage.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace plinth::apple {

// `count` items of `bit_size` bits each, starting `bit_offset` bits after the
// report ID byte (or after the report's start, when the descriptor numbers no
// reports), least significant bit first as HID lays them out.
struct hid_field
{
    hid_report_type type = hid_report_type::input;
    std::uint8_t report_id = 0; // 0: the descriptor numbers no reports
    std::uint32_t bit_offset = 0;
    std::uint32_t bit_size = 0;
    std::uint32_t count = 0;
    hid_main_item_flags flags;

    // In the order the descriptor gives them, extended usages resolved. For a
    // variable field, item i takes the i-th usage counted across the ranges, and the
    // last usage repeats for items beyond them. For an array field, an item holding
    // logical value v names the (v - logical_minimum)-th usage. Empty for padding.
    std::vector<hid_usage_range> usages;

    // Logical Maximum and Physical Maximum are read as signed only when their
    // minimum is negative, so that "Logical Maximum (255)" in one byte means 255.
    std::int32_t logical_minimum = 0;
    std::int32_t logical_maximum = 0;
    std::int32_t physical_minimum = 0;
    std::int32_t physical_maximum = 0;
    std::uint32_t unit = 0;
    std::int8_t unit_exponent = 0; // -8..7, from the item's low nibble

    std::size_t collection = 0; // innermost collection (index), or hid_collection::no_parent
    std::size_t offset = 0;     // byte offset of the Main item in the descriptor

    bool is_padding() const noexcept { return flags.is_constant() && usages.empty(); }
    // Items are sign-extended when the logical minimum is negative.
    bool is_signed() const noexcept { return logical_minimum < 0; }
    std::uint32_t bit_end() const noexcept { return bit_offset + bit_size * count; }

    // The usage of item `index` of a variable field; nullopt when it has none.
    std::optional<hid_usage> usage_of_item(std::uint32_t index) const noexcept;
    // The usage that logical value `logical` selects in an array field; nullopt when
    // the value is outside the logical range or past the usages.
    std::optional<hid_usage> usage_of_value(std::int64_t logical) const noexcept;
    bool in_logical_range(std::int64_t logical) const noexcept
    {
        return logical >= logical_minimum && logical <= logical_maximum;
    }
    // The physical value of a logical one: scaled linearly from the logical range to
    // the physical range (the logical range itself when both physical bounds are 0),
    // times ten to the unit exponent.
    double physical_value(std::int32_t logical) const noexcept;

    friend bool operator==(hid_field const&, hid_field const&) = default;
};

} // namespace plinth::apple
