// The loaders' public entry points, and load_dump_file, which hands what a loader read to the registry model.
#include "sim/control/loaders.hpp"

#include "sim/control/registry.hpp"
#include "sim/loaders/dump_file.hpp"
#include "sim/loaders/ioreg_text_reader.hpp"
#include "sim/loaders/ioreg_xml_reader.hpp"

#include <stdexcept>

namespace plinth::sim {

dump read_ioreg_xml(std::string_view text, std::string const& plane)
{
    return detail::ioreg_xml_reader(plane).read(text);
}

dump read_ioreg_text(std::string_view text, std::string const& plane)
{
    return detail::ioreg_text_reader(plane).read(text);
}

dump read_dump_file(std::filesystem::path const& file, std::string const& plane)
{
    return detail::read_dump_file(file, plane);
}

void load_dump_file(std::filesystem::path const& file, std::string const& plane)
{
    // Reading finishes, or throws, before the registry is touched; a dump that
    // reads but does not fit the registry (a loop through entries it already
    // holds) is refused whole, and named like any other bad file.
    auto const d = read_dump_file(file, plane);
    try
    {
        merge(d);
    }
    catch (std::invalid_argument const& e)
    {
        throw dump_error(file.string() + ": " + e.what());
    }
}

} // namespace plinth::sim
