// The arithmetic behind CFNumber: canonical types, and conversions that say whether they lost.
#pragma once

#include <CoreFoundation/CFNumber.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>

// The arithmetic behind CFNumber: canonical types, reading a value of any
// CFNumberType, storing it as another with Apple's lossy-conversion results, and
// comparing numbers by value across types.
namespace plinth::sim::detail {

// An integer (every integer type is kept as 64 bits) or a floating-point value
// (a Float32 widens to double exactly).
using number_value = std::variant<std::int64_t, double>;

// SInt8..SInt64, Float32 or Float64 for a valid type; nothing for another value.
std::optional<CFNumberType> canonical_number_type(CFNumberType type) noexcept;

std::size_t byte_size_of(CFNumberType canonical_type) noexcept;
bool is_float_type(CFNumberType canonical_type) noexcept;

// Reads the value of canonical type `type` that `source` points at.
number_value read_number(CFNumberType canonical_type, void const* source) noexcept;

// Stores `value` at `destination` as canonical type `type`, converted the way a C
// cast converts it; false when that lost information. As on Apple's platforms, an
// integer stored as SInt8 or SInt16 also counts as exact when no bit above the
// target's width is set (200 as SInt8 stores -56 and succeeds).
bool store_number(number_value value, CFNumberType canonical_type, void* destination) noexcept;

// -1, 0 or 1 by mathematical value, exactly, across integers and floats. NaN
// equals NaN and sorts above every other number, so that the order is total.
int compare_numbers(number_value const& a, number_value const& b) noexcept;

// Equal for numbers that compare equal: an integral float hashes as the integer.
std::size_t hash_number(number_value const& value) noexcept;

} // namespace plinth::sim::detail
