// Reading and writing an item's bits in a report: little-endian, least significant bit first, as HID packs them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace plinth::apple::detail {

// The `size` (1..32) bits at bit `offset` of `bytes`, which must hold them.
inline std::uint32_t extract_bits(std::span<std::uint8_t const> bytes, std::uint64_t offset,
                                  std::uint32_t size) noexcept
{
    auto const first = static_cast<std::size_t>(offset / 8);
    auto const shift = static_cast<unsigned>(offset % 8);
    std::size_t const touched = (shift + size + 7) / 8; // at most 5 bytes
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < touched; ++i)
        bits |= std::uint64_t{bytes[first + i]} << (8 * i);
    return static_cast<std::uint32_t>((bits >> shift) & ((std::uint64_t{1} << size) - 1));
}

// Puts the low `size` (1..32) bits of `value` at bit `offset` of `bytes` and leaves
// every other bit as it was.
inline void insert_bits(std::span<std::uint8_t> bytes, std::uint64_t offset, std::uint32_t size,
                        std::uint32_t value) noexcept
{
    auto const first = static_cast<std::size_t>(offset / 8);
    auto const shift = static_cast<unsigned>(offset % 8);
    std::size_t const touched = (shift + size + 7) / 8;
    std::uint64_t const mask = ((std::uint64_t{1} << size) - 1) << shift;
    std::uint64_t const bits = (std::uint64_t{value} << shift) & mask;
    for (std::size_t i = 0; i < touched; ++i)
    {
        auto const byte_mask = static_cast<std::uint8_t>(mask >> (8 * i));
        bytes[first + i] = static_cast<std::uint8_t>((bytes[first + i] & ~byte_mask) | (bits >> (8 * i)));
    }
}

// An item's raw bits as its logical value: sign-extended from `size` bits when signed.
inline std::int32_t to_logical(std::uint32_t raw, std::uint32_t size, bool is_signed) noexcept
{
    if (is_signed && size < 32 && (raw >> (size - 1)) & 1)
        return static_cast<std::int32_t>(std::int64_t{raw} - (std::int64_t{1} << size));
    return static_cast<std::int32_t>(raw); // 32 bits: the two's complement pattern
}

// Whether `logical` fits `size` (1..32) bits: as two's complement when signed, else
// as a non-negative number below 2^size.
inline bool fits_bits(std::int64_t logical, std::uint32_t size, bool is_signed) noexcept
{
    if (is_signed)
        return logical >= -(std::int64_t{1} << (size - 1)) && logical < (std::int64_t{1} << (size - 1));
    return logical >= 0 && logical < (std::int64_t{1} << size);
}

} // namespace plinth::apple::detail
