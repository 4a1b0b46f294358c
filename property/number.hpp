// property::number: an integer property value as its bits and their width.
#pragma once

#include <cstdint>

namespace plinth::property {

// An integer as the registry holds it: the bits and their width, 8 to 64. The
// kernel's OSNumber knows its width and no sign; a CFNumber's integer type gives
// both a width and a sign. Keeping the bits with the width holds either honestly,
// and a reader picks the view it needs: as_signed (the CFNumber's own reading) or
// as_unsigned (how ioreg prints a number). Bits above the width are not part of the
// number: a 32-bit 0xFFFFFFFF and a 32-bit -1 are the same number.
struct number
{
    std::int64_t bits = 0;
    int width = 32;

    // The low `width` bits as a two's-complement integer: a 32-bit 0xFFFFFFFF is -1.
    constexpr std::int64_t as_signed() const noexcept
    {
        if (width <= 0 || width >= 64)
            return bits;
        auto const sign = std::uint64_t{1} << (width - 1);
        auto const low = as_unsigned();
        return static_cast<std::int64_t>((low ^ sign) - sign);
    }

    // The low `width` bits as an unsigned integer: a 32-bit -1 is 4294967295.
    constexpr std::uint64_t as_unsigned() const noexcept
    {
        auto const all = static_cast<std::uint64_t>(bits);
        if (width <= 0 || width >= 64)
            return all;
        return all & ((std::uint64_t{1} << width) - 1);
    }

    friend constexpr bool operator==(number const& a, number const& b) noexcept
    {
        return a.width == b.width && a.as_unsigned() == b.as_unsigned();
    }
};

// A number of the width that a kernel driver would publish for an integer of that
// magnitude: 32 bits when it fits (signed or unsigned), 64 otherwise.
constexpr number make_number(std::int64_t v) noexcept
{
    bool const fits32 = v >= INT32_MIN && v <= static_cast<std::int64_t>(UINT32_MAX);
    return number{v, fits32 ? 32 : 64};
}

} // namespace plinth::property
