// hid_descriptor_item: one item of a report descriptor (offset, prefix, data), its tag and kind, and the names of tags.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace plinth::apple {

// The tag and type bits of a short item's prefix (its size bits cleared).
enum class hid_item_tag : std::uint8_t
{
    input = 0x80,
    output = 0x90,
    feature = 0xB0,
    collection = 0xA0,
    end_collection = 0xC0,

    usage_page = 0x04,
    logical_minimum = 0x14,
    logical_maximum = 0x24,
    physical_minimum = 0x34,
    physical_maximum = 0x44,
    unit_exponent = 0x54,
    unit = 0x64,
    report_size = 0x74,
    report_id = 0x84,
    report_count = 0x94,
    push = 0xA4,
    pop = 0xB4,

    usage = 0x08,
    usage_minimum = 0x18,
    usage_maximum = 0x28,
    designator_index = 0x38,
    designator_minimum = 0x48,
    designator_maximum = 0x58,
    string_index = 0x78,
    string_minimum = 0x88,
    string_maximum = 0x98,
    delimiter = 0xA8,
};

// `data` of `size` bytes (0, 1, 2 or 4) read as a two's complement number.
std::int32_t hid_sign_extend(std::uint32_t data, std::uint8_t size) noexcept;

// The prefix byte that starts a long item; its data is never interpreted.
inline constexpr std::uint8_t hid_long_item_prefix = 0xFE;

enum class hid_item_kind : std::uint8_t
{
    main = 0,
    global = 1,
    local = 2,
    reserved = 3,
};

struct hid_descriptor_item
{
    std::size_t offset = 0;  // of the prefix byte
    std::uint8_t prefix = 0; // as the descriptor gives it, size bits included
    std::uint8_t size = 0;   // data bytes: 0, 1, 2 or 4 (a long item's are not counted)
    std::uint32_t data = 0;  // little-endian, zero-extended
    bool is_long = false;

    hid_item_tag tag() const noexcept { return static_cast<hid_item_tag>(prefix & 0xFC); }
    hid_item_kind kind() const noexcept { return static_cast<hid_item_kind>((prefix >> 2) & 0x3); }
    // The data read as a two's complement number of the item's size.
    std::int32_t signed_data() const noexcept { return hid_sign_extend(data, size); }
};

// "Pop", "Usage Minimum", "Long item"...; "Reserved item" for tags HID leaves unassigned.
std::string_view hid_item_name(std::uint8_t prefix) noexcept;

} // namespace plinth::apple
