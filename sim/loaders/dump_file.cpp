#include "sim/control/loaders.hpp"

#include "sim/control/registry.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace plinth::sim {

namespace {

std::string read_whole_file(std::filesystem::path const& file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw dump_error(file.string() + ": cannot open: " + std::strerror(errno));
    std::ostringstream contents;
    contents << in.rdbuf();
    if (in.bad() || contents.bad())
        throw dump_error(file.string() + ": cannot read: " + std::strerror(errno));
    return std::move(contents).str();
}

// `ioreg -a` output starts with the XML declaration; a bare <plist> is taken as
// XML too. Anything else is the text that `ioreg` prints.
bool looks_like_xml(std::string_view text)
{
    std::size_t const first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return false;
    text.remove_prefix(first);
    return text.starts_with("<?xml") || text.starts_with("<plist");
}

} // namespace

dump read_dump_file(std::filesystem::path const& file, std::string const& plane)
{
    if (std::filesystem::is_directory(file))
        throw dump_error(file.string() + ": is a directory, not a dump file");
    std::string const contents = read_whole_file(file);
    std::string_view text = contents;
    if (text.starts_with("\xEF\xBB\xBF")) // a UTF-8 byte order mark that some editors add
        text.remove_prefix(3);
    try
    {
        return looks_like_xml(text) ? read_ioreg_xml(text, plane) : read_ioreg_text(text, plane);
    }
    catch (dump_error const& e)
    {
        throw dump_error(file.string() + ": " + e.what());
    }
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
