// hid_usage and hid_usage_range: what a HID field means, as a usage page and a usage ID.
#pragma once

#include <compare>
#include <cstdint>

namespace plinth::apple {

// A usage: its page (Generic Desktop, Keyboard/Keypad, Button...) and its ID on
// that page. A descriptor may give both at once as one 32-bit "extended" usage,
// the page in the high 16 bits.
struct hid_usage
{
    std::uint16_t page = 0;
    std::uint16_t id = 0;

    static constexpr hid_usage from_extended(std::uint32_t extended) noexcept
    {
        return {static_cast<std::uint16_t>(extended >> 16), static_cast<std::uint16_t>(extended & 0xFFFF)};
    }
    constexpr std::uint32_t extended() const noexcept { return (std::uint32_t{page} << 16) | id; }

    friend constexpr auto operator<=>(hid_usage, hid_usage) = default;
};

// Usages first..last, both included, as extended usages. A Usage item gives a
// range of one; Usage Minimum and Maximum a longer one. Kept as a range, not
// expanded, so that a descriptor of a few bytes cannot ask for billions of usages.
struct hid_usage_range
{
    std::uint32_t first = 0;
    std::uint32_t last = 0;

    constexpr std::uint64_t size() const noexcept { return std::uint64_t{last} - first + 1; }
    constexpr bool contains(hid_usage u) const noexcept { return u.extended() >= first && u.extended() <= last; }

    friend constexpr bool operator==(hid_usage_range, hid_usage_range) = default;
};

} // namespace plinth::apple
