// Copying text into io_name_t and io_string_t, and reading plane arguments.
#pragma once

#include <IOKit/IOTypes.h>

#include <string_view>

namespace plinth::sim::detail {

// Copies text into an io_name_t, cut to its 128 bytes with the final NUL, as the
// kernel's strlcpy into the reply does.
void copy_io_name(std::string_view text, io_name_t out) noexcept;

// Copies text into an io_string_t; false (and nothing copied) when it does not fit.
bool copy_io_string(std::string_view text, io_string_t out) noexcept;

// A plane argument: NULL reads as "", the name of no plane.
std::string_view plane_text(char const* plane) noexcept;

} // namespace plinth::sim::detail
