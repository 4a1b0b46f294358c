// watch_errc: a device watcher's failures (events dropped on overflow) as Boost.System codes.
#pragma once

#include <boost/system/error_code.hpp>

#include <type_traits>

namespace plinth::apple {

// Failures of a device watcher.
enum class watch_errc : int
{
    // Events came faster than they were taken and some were dropped; the watcher
    // says how many, and goes on with the events that came after them.
    overflow = 1,
};

boost::system::error_category const& watch_category() noexcept;

boost::system::error_code make_error_code(watch_errc e) noexcept;

} // namespace plinth::apple

template <>
struct boost::system::is_error_code_enum<plinth::apple::watch_errc> : std::true_type
{
};
