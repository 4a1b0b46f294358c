// One row of plinth-ioreg's command table: a command's name, help, options and the function that runs it.
#pragma once

#include <cstdio>
#include <functional>
#include <span>
#include <string_view>

namespace CLI {
class App;
}

namespace plinth::ioreg_tool {

struct options;

// Adds a command's own options to its CLI11 command, each storing what it reads in
// `chosen`. Returns what must happen once the command line is read, when the
// command was given: reading a positional argument into `chosen`, checking that
// options go together (by throwing a CLI11 error); or nothing.
using option_adder = std::function<void()> (*)(CLI::App& command, options& chosen);

// Runs the command with the options read, writing what it prints on `out`; returns
// the exit status. Throws tool_error for what the user can correct.
using command_runner = int (*)(options const& chosen, std::FILE* out);

struct command
{
    std::string_view name;
    std::string_view help;
    option_adder add_options = nullptr; // none: the command has no options of its own
    command_runner run = nullptr;
    // Commands that may follow this one ("hid read"); one given runs instead of it.
    std::span<command const> subcommands = {};
};

} // namespace plinth::ioreg_tool
