// CF::GetEntries: every key and value of a CF dictionary, each with its own reference.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/dictionary.hpp"

#include <utility>
#include <vector>

namespace CF {

// One key and its value, each with a reference of its own.
using DictionaryEntry = std::pair<AutoPointer, AutoPointer>;

// Every key of `dictionary` with its value, in the order CoreFoundation gives them
// (a dictionary has no order of its own); none when the wrapper is empty. This is
// how a caller lists what a dictionary holds without knowing its keys beforehand.
std::vector<DictionaryEntry> GetEntries(Dictionary const& dictionary);

} // namespace CF
