// plane: the table of IOKit plane names and the lookup of a plane by its exact name.
#include "device/apple/plane.hpp"

#include "device/apple/abort_enum_out_of_range.hpp"
#include "error/errc.hpp"

#include <boost/system/system_error.hpp>

#include <array>
#include <string>

namespace plinth::apple {
namespace {

constexpr std::array<char const*, 6> plane_names = {
    "IOService", "IOPower", "IODeviceTree", "IOAudio", "IOFireWire", "IOUSB",
};

} // namespace

char const* to_string(plinth::plane p) noexcept
{
    if (!enum_in_range(p, plane_names.size()))
        abort_enum_out_of_range(p);
    return plane_names[static_cast<std::size_t>(p)];
}

plinth::plane make_plane(char const* name)
{
    std::string const wanted(name);
    for (std::size_t i = 0; i < plane_names.size(); ++i)
    {
        if (wanted == plane_names[i])
            return static_cast<plinth::plane>(i);
    }
    // An empty name makes no prefix, rather than a bare ": " before the message.
    if (wanted.empty())
        throw boost::system::system_error(make_error_code(errc::unknown_plane));
    throw boost::system::system_error(make_error_code(errc::unknown_plane), wanted);
}

} // namespace plinth::apple
