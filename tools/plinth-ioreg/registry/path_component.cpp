// Splitting a registry path's last component into name and location, or giving up where IOKit must be asked.
#include "tools/plinth-ioreg/registry/path_component.hpp"

#include <algorithm>
#include <cstddef>

namespace plinth::ioreg_tool {
namespace {

// io_name_t is 128 bytes with the final NUL.
constexpr std::size_t longest_io_name = 127;

} // namespace

std::optional<name_and_location> last_path_component(std::string_view path)
{
    auto const plane_end = path.find(':');
    if (plane_end == std::string_view::npos)
        return std::nullopt;
    auto const last_slash = path.rfind('/');
    if (last_slash == std::string_view::npos || last_slash < plane_end)
        return std::nullopt;
    auto const component = path.substr(last_slash + 1);
    if (component.empty() || std::count(component.begin(), component.end(), '@') > 1)
        return std::nullopt;

    auto const at = component.find('@');
    auto const name = component.substr(0, at);
    if (name.empty() || name.size() > longest_io_name)
        return std::nullopt;
    name_and_location result{std::string(name), std::nullopt};
    if (at != std::string_view::npos)
    {
        auto const location = component.substr(at + 1);
        if (location.size() > longest_io_name)
            return std::nullopt;
        result.location = std::string(location);
    }
    return result;
}

} // namespace plinth::ioreg_tool
