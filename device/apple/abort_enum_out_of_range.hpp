// abort_enum_out_of_range: ends the process for an out-of-range enumerator; enum_in_range checks one.
#pragma once

#include <stdexcept>
#include <string>
#include <typeinfo>

namespace plinth {

// Ends the process for an enumerator outside its range: such a value is a
// programming fault, not a run-time error a caller could handle. The
// std::domain_error is thrown out of a noexcept function on purpose, so that
// std::terminate runs with it in flight and the terminate handler can report it.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wexceptions"
#elif defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wterminate"
#endif
template <typename E>
[[noreturn]] void abort_enum_out_of_range(E value) noexcept
{
    throw std::domain_error(std::string("Value of enum type ") + typeid(E).name() + " has invalid value " +
                            std::to_string(static_cast<int>(value)));
}
#if defined(__clang__)
#pragma clang diagnostic pop
#elif defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

// True when `value`, taken as an unsigned 32-bit number, indexes a table of
// `count` entries; a negative value counts as a large number.
template <typename E>
constexpr bool enum_in_range(E value, unsigned count) noexcept
{
    return static_cast<unsigned>(static_cast<int>(value)) < count;
}

} // namespace plinth
