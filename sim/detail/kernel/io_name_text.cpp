// Copying text into io_name_t and io_string_t, and reading plane arguments.
#include "sim/detail/kernel/io_name_text.hpp"

#include <algorithm>
#include <cstring>

namespace plinth::sim::detail {

void copy_io_name(std::string_view text, io_name_t out) noexcept
{
    auto const length = std::min(text.size(), sizeof(io_name_t) - 1);
    std::memcpy(out, text.data(), length);
    out[length] = '\0';
}

bool copy_io_string(std::string_view text, io_string_t out) noexcept
{
    if (text.size() >= sizeof(io_string_t))
        return false;
    std::memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
    return true;
}

std::string_view plane_text(char const* plane) noexcept
{
    return plane ? std::string_view(plane, strnlen(plane, sizeof(io_name_t))) : std::string_view{};
}

} // namespace plinth::sim::detail
