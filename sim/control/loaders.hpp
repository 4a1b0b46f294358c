// The control interface to the loaders: reading ioreg dumps (XML or text) into dumps, and loading dump files into the registry.
#pragma once

#include "sim/control/dump.hpp"
#include "sim/loaders/dump_error.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace plinth::sim {

// Thrown for a dump that cannot be read; what() names the line or element at fault.
using detail::dump_error;

// Reads the XML property list that `ioreg -a` writes: one entry <dict> at the top
// (normally Root), or an <array> of them. Integers get the width their magnitude
// needs; a <date>, which no I/O Kit property holds, is kept as its ISO 8601 text.
dump read_ioreg_xml(std::string_view text, std::string const& plane = "IOService");

// Reads the text that `ioreg` and `ioreg -l` print, also with several matches
// (-r, -S) and after the shell prompt line. Each number gets the width that prints
// it back as ioreg did: 32 bits up to INT32_MAX, 64 above. A line that ioreg
// clipped ('$') keeps what it shows: an entry whose ID is visible, a property
// value as a string of its visible text.
dump read_ioreg_text(std::string_view text, std::string const& plane = "IOService");

// Reads a dump file of either form, telling them apart by their first characters.
dump read_dump_file(std::filesystem::path const& file, std::string const& plane = "IOService");

// Reads a dump file and merges it into the simulated registry; nothing is merged
// when the file cannot be read.
void load_dump_file(std::filesystem::path const& file, std::string const& plane = "IOService");

} // namespace plinth::sim
