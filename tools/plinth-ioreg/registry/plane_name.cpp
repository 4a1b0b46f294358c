// Reading a plane's name through the library, an unknown one made a tool_error.
#include "tools/plinth-ioreg/registry/plane_name.hpp"

#include "tools/plinth-ioreg/command_line/tool_error.hpp"

#include <boost/system/system_error.hpp>
#include <fmt/format.h>

namespace plinth::ioreg_tool {

plane parse_plane(std::string const& name)
{
    try
    {
        return apple::make_plane(name.c_str());
    }
    catch (boost::system::system_error const&)
    {
        throw tool_error(fmt::format("unknown plane \"{}\"", name));
    }
}

} // namespace plinth::ioreg_tool
