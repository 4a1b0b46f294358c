#pragma once

#include "tools/plinth-ioreg/command_line/options.hpp"

#include <string>

namespace plinth::ioreg_tool {

// Prepares the registry, runs the command and returns what it prints. Throws
// tool_error for what the user can correct, and lets any other failure through.
std::string run_command(options const& chosen);

} // namespace plinth::ioreg_tool
