// hid_item_reader: splits a report descriptor into its items, each with its byte offset, size and data.
#pragma once

#include "hid/item.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace plinth::apple {

// Reads one item after another; throws hid_descriptor_error when an item's data
// runs past the end of the bytes.
class hid_item_reader
{
public:
    explicit hid_item_reader(std::span<std::uint8_t const> bytes) noexcept : bytes_(bytes) {}

    // The next item, or nullopt at the end of the descriptor.
    std::optional<hid_descriptor_item> next();

private:
    std::span<std::uint8_t const> bytes_;
    std::size_t position_ = 0;
};

} // namespace plinth::apple
