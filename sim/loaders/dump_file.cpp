// Reading a dump file: the whole file, a byte order mark dropped, then the XML or the text reader.
#include "sim/loaders/dump_file.hpp"

#include "sim/loaders/dump_error.hpp"
#include "sim/loaders/ioreg_text_reader.hpp"
#include "sim/loaders/ioreg_xml_reader.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace plinth::sim::detail {

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
        return looks_like_xml(text) ? ioreg_xml_reader(plane).read(text) : ioreg_text_reader(plane).read(text);
    }
    catch (dump_error const& e)
    {
        throw dump_error(file.string() + ": " + e.what());
    }
}

} // namespace plinth::sim::detail
