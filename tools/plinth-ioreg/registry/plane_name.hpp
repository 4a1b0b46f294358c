// The plane the user named (--plane, PLANE=FILE), or a tool_error.
#pragma once

#include "device/apple/plane.hpp"

#include <string>

namespace plinth::ioreg_tool {

// The plane that the user named, for --plane and for a "PLANE=FILE" dump.
// Throws tool_error for a name that is no plane.
plane parse_plane(std::string const& name);

} // namespace plinth::ioreg_tool
