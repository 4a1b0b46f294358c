// The state a report descriptor's items build up: the global items (with their Push/Pop stack) and the local ones.
#pragma once

#include "hid/usage.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace plinth::apple::detail {

// A Logical or Physical Maximum as its item gave it. Whether it is signed depends on
// the matching minimum in effect at the Main item, which may come after it.
struct raw_maximum
{
    std::uint32_t data = 0;
    std::uint8_t size = 0;
};

// What the global items set; a Main item uses whatever is in effect, and Push/Pop
// save and restore all of it.
struct global_state
{
    std::uint16_t usage_page = 0;
    std::int32_t logical_minimum = 0;
    raw_maximum logical_maximum;
    std::int32_t physical_minimum = 0;
    raw_maximum physical_maximum;
    std::int8_t unit_exponent = 0;
    std::uint32_t unit = 0;
    std::uint32_t report_size = 0;
    std::uint8_t report_id = 0;
    std::uint32_t report_count = 0;
};

// A Usage Minimum or Maximum waiting for its other half; kept with its item so that
// a lone one can be named.
struct usage_bound
{
    std::uint32_t usage = 0; // extended
    std::size_t offset = 0;
    std::uint8_t prefix = 0;
};

// What the local items set for the next Main item, which clears it.
struct local_state
{
    std::vector<hid_usage_range> usages;
    std::optional<usage_bound> usage_minimum;
    std::optional<usage_bound> usage_maximum;
    // Inside a Delimiter set the usages are alternatives: the first one stands for the set.
    bool in_delimiter_set = false;
    bool delimiter_set_has_usage = false;

    // Whether a usage given now counts (false for the alternatives in a Delimiter set).
    bool takes_usage() const noexcept { return !in_delimiter_set || !delimiter_set_has_usage; }
    void add(hid_usage_range range)
    {
        usages.push_back(range);
        if (in_delimiter_set)
            delimiter_set_has_usage = true;
    }
};

} // namespace plinth::apple::detail
