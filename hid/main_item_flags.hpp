// hid_main_item_flags: the data bits of an Input, Output or Feature item.
#pragma once

#include <cstdint>

namespace plinth::apple {

// The bits as the item holds them (HID 1.11, 6.2.2.5); bit 7 (volatile) means
// nothing on an Input item, and is kept as given.
struct hid_main_item_flags
{
    std::uint32_t bits = 0;

    constexpr bool is_constant() const noexcept { return bits & 0x001; }
    constexpr bool is_variable() const noexcept { return bits & 0x002; }
    constexpr bool is_array() const noexcept { return !is_variable(); }
    constexpr bool is_relative() const noexcept { return bits & 0x004; }
    constexpr bool wraps() const noexcept { return bits & 0x008; }
    constexpr bool is_non_linear() const noexcept { return bits & 0x010; }
    constexpr bool has_no_preferred_state() const noexcept { return bits & 0x020; }
    constexpr bool has_null_state() const noexcept { return bits & 0x040; }
    constexpr bool is_volatile() const noexcept { return bits & 0x080; }
    constexpr bool is_buffered_bytes() const noexcept { return bits & 0x100; }

    friend constexpr bool operator==(hid_main_item_flags, hid_main_item_flags) = default;
};

} // namespace plinth::apple
