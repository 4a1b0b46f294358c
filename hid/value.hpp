// hid_value and hid_field_ref: a decoded item of a report, and where an item lives.
#pragma once

#include "hid/usage.hpp"

#include <cstddef>
#include <cstdint>

namespace plinth::apple {

// One item of one field: hid_report_descriptor::find gives it for a usage, and
// read/write take it, so that reading one usage costs no search per report.
struct hid_field_ref
{
    std::size_t field = 0; // index in hid_report_descriptor::fields()
    // A variable field: the item within the field. An array field: the usage's
    // position among the field's usages (the logical value that selects it, less the
    // logical minimum), since any of its items may hold it.
    std::uint32_t item = 0;

    friend constexpr bool operator==(hid_field_ref, hid_field_ref) = default;
};

struct hid_value
{
    hid_field_ref where;
    // A variable field: the item's usage. An array field: the usage its value selects.
    hid_usage usage;
    // As the report holds it, sign-extended when the field's logical minimum is negative.
    std::int32_t logical = 0;
    // False when the value lies outside the logical range: the field's null state
    // ("no value"), which is not clamped into the range.
    bool in_range = true;
};

} // namespace plinth::apple
