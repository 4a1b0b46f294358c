// errc: the registry model's own failures (missing property, unknown plane, ...) as Boost.System codes.
#pragma once

#include <boost/system/error_code.hpp>

#include <type_traits>

namespace plinth {

// Failures of the registry model that are not IOKit's own. The values are part of
// the interface: callers and logs see the numbers.
enum class errc : int
{
    unsupported_property_type = 1, // the property's CF type has no value type here
    property_not_found = 2,        // the entry has no such property (or there is no entry)
    invalid_port_size = 3,         // a parent's "port" value is not four bytes long
    no_service_parent = 4,         // the entry has no parent in the IOService plane
    unknown_plane = 5,             // a plane name that names no registry plane
};

boost::system::error_category const& error_category() noexcept;

boost::system::error_code make_error_code(errc e) noexcept;

} // namespace plinth

template <>
struct boost::system::is_error_code_enum<plinth::errc> : std::true_type
{
};
