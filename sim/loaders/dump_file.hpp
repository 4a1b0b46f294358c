// Reading a dump file of either form (ioreg -a XML or ioreg text), told apart by its first characters.
#pragma once

#include "sim/detail/registry/registry_description.hpp"

#include <filesystem>
#include <string>

namespace plinth::sim::detail {

// Throws dump_error, prefixed with the file's name, for a file that cannot be
// opened or read, a directory, or contents that do not read as a dump.
dump read_dump_file(std::filesystem::path const& file, std::string const& plane);

} // namespace plinth::sim::detail
