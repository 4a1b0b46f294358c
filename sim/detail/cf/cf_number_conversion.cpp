// The arithmetic behind CFNumber: canonical types, and conversions that say whether they lost.
#include "sim/detail/cf/cf_number_conversion.hpp"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <type_traits>

namespace plinth::sim::detail {
namespace {

constexpr double two_to_63 = 9223372036854775808.0;

template <typename T>
void write(void* destination, T value) noexcept
{
    std::memcpy(destination, &value, sizeof value);
}

template <typename T>
T read(void const* source) noexcept
{
    T value;
    std::memcpy(&value, source, sizeof value);
    return value;
}

// C leaves float-to-integer casts out of range undefined; this one saturates
// (as arm64 does) and gives 0 for NaN, so the stored value is always defined.
std::int64_t truncate_saturating(double d) noexcept
{
    if (std::isnan(d))
        return 0;
    if (d >= two_to_63)
        return std::numeric_limits<std::int64_t>::max();
    if (d < -two_to_63)
        return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(d);
}

// True when the float `d` is exactly the integer `v`.
bool same_value(double d, std::int64_t v) noexcept
{
    return d >= -two_to_63 && d < two_to_63 && static_cast<std::int64_t>(d) == v && std::trunc(d) == d;
}

template <typename Int>
bool store_integer(std::int64_t v, void* destination) noexcept
{
    auto const converted = static_cast<Int>(v); // modular, as in C
    write(destination, converted);
    if (converted == v)
        return true;
    if constexpr (sizeof(Int) < 4)
        return (v >> (8 * sizeof(Int))) == 0;
    else
        return false;
}

template <typename Int>
bool store_integer(double d, void* destination) noexcept
{
    auto const converted = static_cast<Int>(truncate_saturating(d));
    write(destination, converted);
    constexpr double lowest = static_cast<double>(std::numeric_limits<Int>::min());
    return std::trunc(d) == d && d >= lowest && d < -lowest;
}

bool store_float32(double d, void* destination) noexcept
{
    if (std::isnan(d))
    {
        write(destination, std::numeric_limits<float>::quiet_NaN());
        return true;
    }
    if (std::isfinite(d) && std::fabs(d) > FLT_MAX)
    {
        float const infinity = std::numeric_limits<float>::infinity();
        write(destination, d > 0 ? infinity : -infinity);
        return false;
    }
    auto const converted = static_cast<float>(d);
    write(destination, converted);
    return static_cast<double>(converted) == d;
}

template <typename Float>
bool store_real(std::int64_t v, void* destination) noexcept
{
    auto const converted = static_cast<Float>(v);
    write(destination, converted);
    return same_value(static_cast<double>(converted), v);
}

int compare_integer_with_real(std::int64_t i, double d) noexcept
{
    if (std::isnan(d))
        return -1;
    if (d >= two_to_63)
        return -1;
    if (d < -two_to_63)
        return 1;
    double const whole = std::trunc(d);
    auto const whole_integer = static_cast<std::int64_t>(whole);
    if (i != whole_integer)
        return i < whole_integer ? -1 : 1;
    return d > whole ? -1 : (d < whole ? 1 : 0);
}

int compare_reals(double a, double b) noexcept
{
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) == std::isnan(b) ? 0 : (std::isnan(a) ? 1 : -1);
    return a < b ? -1 : (a > b ? 1 : 0);
}

} // namespace

std::optional<CFNumberType> canonical_number_type(CFNumberType type) noexcept
{
    switch (type)
    {
    case kCFNumberSInt8Type:
    case kCFNumberCharType: return kCFNumberSInt8Type;
    case kCFNumberSInt16Type:
    case kCFNumberShortType: return kCFNumberSInt16Type;
    case kCFNumberSInt32Type:
    case kCFNumberIntType: return kCFNumberSInt32Type;
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType: return kCFNumberSInt64Type;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType: return kCFNumberFloat32Type;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType: return kCFNumberFloat64Type; // CGFloat is a double on 64-bit hosts
    default: return std::nullopt;
    }
}

std::size_t byte_size_of(CFNumberType canonical_type) noexcept
{
    switch (canonical_type)
    {
    case kCFNumberSInt8Type: return 1;
    case kCFNumberSInt16Type: return 2;
    case kCFNumberSInt32Type:
    case kCFNumberFloat32Type: return 4;
    default: return 8;
    }
}

bool is_float_type(CFNumberType canonical_type) noexcept
{
    return canonical_type == kCFNumberFloat32Type || canonical_type == kCFNumberFloat64Type;
}

number_value read_number(CFNumberType canonical_type, void const* source) noexcept
{
    switch (canonical_type)
    {
    case kCFNumberSInt8Type: return std::int64_t{read<std::int8_t>(source)};
    case kCFNumberSInt16Type: return std::int64_t{read<std::int16_t>(source)};
    case kCFNumberSInt32Type: return std::int64_t{read<std::int32_t>(source)};
    case kCFNumberFloat32Type: return double{read<float>(source)};
    case kCFNumberFloat64Type: return read<double>(source);
    default: return read<std::int64_t>(source);
    }
}

bool store_number(number_value value, CFNumberType canonical_type, void* destination) noexcept
{
    return std::visit(
        [&](auto v) {
            switch (canonical_type)
            {
            case kCFNumberSInt8Type: return store_integer<std::int8_t>(v, destination);
            case kCFNumberSInt16Type: return store_integer<std::int16_t>(v, destination);
            case kCFNumberSInt32Type: return store_integer<std::int32_t>(v, destination);
            case kCFNumberSInt64Type: return store_integer<std::int64_t>(v, destination);
            case kCFNumberFloat32Type:
                if constexpr (std::is_same_v<decltype(v), double>)
                    return store_float32(v, destination);
                else
                    return store_real<float>(v, destination);
            default:
                if constexpr (std::is_same_v<decltype(v), double>)
                {
                    write(destination, v);
                    return true;
                }
                else
                    return store_real<double>(v, destination);
            }
        },
        value);
}

int compare_numbers(number_value const& a, number_value const& b) noexcept
{
    auto const* ai = std::get_if<std::int64_t>(&a);
    auto const* bi = std::get_if<std::int64_t>(&b);
    if (ai != nullptr && bi != nullptr)
        return *ai < *bi ? -1 : (*ai > *bi ? 1 : 0);
    if (ai != nullptr)
        return compare_integer_with_real(*ai, std::get<double>(b));
    if (bi != nullptr)
        return -compare_integer_with_real(*bi, std::get<double>(a));
    return compare_reals(std::get<double>(a), std::get<double>(b));
}

std::size_t hash_number(number_value const& value) noexcept
{
    if (auto const* i = std::get_if<std::int64_t>(&value))
        return std::hash<std::int64_t>{}(*i);
    double const d = std::get<double>(value);
    if (std::trunc(d) == d && d >= -two_to_63 && d < two_to_63)
        return std::hash<std::int64_t>{}(static_cast<std::int64_t>(d));
    if (std::isnan(d))
        return 0;
    return std::hash<double>{}(d);
}

} // namespace plinth::sim::detail
