// The watch command: entries arriving and leaving, one line each, until Ctrl-C.
#pragma once

#include "tools/plinth-ioreg/command_line/options.hpp"

#include <cstdio>

namespace plinth::ioreg_tool {

// The watch command: prints one line (with --json, one JSON object per line) on
// `out` for each matching entry that arrives or leaves, until SIGINT or SIGTERM,
// then ends cleanly. Returns 0, or throws tool_error (a failed write included).
int run_watch(options const& chosen, std::FILE* out);

} // namespace plinth::ioreg_tool
