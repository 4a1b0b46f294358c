// hid_collection: one Collection item of a report descriptor and its place in the tree.
#pragma once

#include "hid/usage.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>

namespace plinth::apple {

struct hid_collection
{
    static constexpr std::size_t no_parent = std::numeric_limits<std::size_t>::max();

    // The Collection item's data: 0 physical, 1 application, 2 logical, 3 report,
    // 4 named array, 5 usage switch, 6 usage modifier, 0x80-0xFF vendor-defined.
    std::uint8_t type = 0;
    hid_usage usage;                // the usage that came before the Collection item (0:0 when none)
    std::size_t parent = no_parent; // index in hid_report_descriptor::collections()
    std::size_t depth = 0;          // 0 for a top-level collection
    std::size_t offset = 0;         // byte offset of the Collection item in the descriptor

    friend bool operator==(hid_collection const&, hid_collection const&) = default;
};

} // namespace plinth::apple
