// The table of plinth-ioreg's commands, from which its command line, its help and its dispatch all come.
#pragma once

#include "tools/plinth-ioreg/command_line/command.hpp"

#include <span>
#include <string>

namespace plinth::ioreg_tool {

// Every top-level command, in the order help lists them. Adding a command is adding
// a row here: parse_command_line() offers it, help shows it, main() runs it.
std::span<command const> command_table() noexcept;

// "tree, show, ... or hid": the top-level commands' names, as the usage error
// for a missing command lists them.
std::string command_names();

} // namespace plinth::ioreg_tool
