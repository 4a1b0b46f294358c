#pragma once

#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// Makes the registry the tool reads. On a Mac it is the machine's own, and
// `dumps` must be empty. Elsewhere it is the simulated I/O Kit's: the bundled
// registry of a realistic Mac, or, when `dumps` names files ("[PLANE=]FILE",
// plane IOService by default, "-" for standard input), those dumps merged by
// registry entry ID. A FILE that exists is read as named, even with a '=' in it.
// Throws tool_error for an unknown plane or a file that cannot be read or parsed.
void prepare_registry(std::vector<std::string> const& dumps);

} // namespace plinth::ioreg_tool
