// A listing field read, or absent when reading it throws.
#pragma once

#include <exception>
#include <optional>
#include <type_traits>

namespace plinth::ioreg_tool {

// The value that `read` returns, or nothing when it throws: a listing shows a
// field it cannot read as absent rather than giving up on the whole entry.
template <typename Read>
auto read_optional(Read&& read) noexcept -> std::optional<std::invoke_result_t<Read>>
{
    try
    {
        return read();
    }
    catch (std::exception const&)
    {
        return std::nullopt;
    }
}

} // namespace plinth::ioreg_tool
