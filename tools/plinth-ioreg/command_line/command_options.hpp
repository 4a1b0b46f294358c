// The options each plinth-ioreg command adds to the command line, as its row in the command table names them.
#pragma once

#include "tools/plinth-ioreg/command_line/command.hpp"

#include <functional>

namespace plinth::ioreg_tool {

// Each adds one command's options to its CLI11 command and returns what is left
// to do once the command line is read (see option_adder).
std::function<void()> add_tree_options(CLI::App& tree, options& chosen);
std::function<void()> add_show_options(CLI::App& show, options& chosen);
std::function<void()> add_usb_options(CLI::App& usb, options& chosen);
std::function<void()> add_watch_options(CLI::App& watch, options& chosen);
std::function<void()> add_hid_options(CLI::App& hid, options& chosen);
std::function<void()> add_hid_describe_options(CLI::App& describe, options& chosen);
std::function<void()> add_hid_read_options(CLI::App& read, options& chosen);
std::function<void()> add_hid_write_options(CLI::App& write, options& chosen);
std::function<void()> add_hid_record_options(CLI::App& record, options& chosen);

} // namespace plinth::ioreg_tool
