// The bundled registry's dumps, compiled in from sim/bundled.
#pragma once

#include <span>
#include <string_view>

namespace plinth::sim::detail {

// One dump of the bundled registry: the plane it shows and its `ioreg -a` text.
struct bundled_dump
{
    char const* plane;
    std::string_view text;
};

// The dumps compiled into the library, in file-name order.
std::span<bundled_dump const> bundled_registry_dumps() noexcept;

} // namespace plinth::sim::detail
