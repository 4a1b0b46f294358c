// Reading a tree line of `ioreg` text: name, location, class, ID.
#include "sim/loaders/tree_line.hpp"

#include "sim/loaders/syntax_error.hpp"

#include <algorithm>
#include <charconv>

namespace plinth::sim::detail {

namespace {

constexpr std::string_view header_start = "  <class ";

// The header's class: one name, or with `ioreg -i` the whole inheritance chain
// from the root class down ("IORegistryEntry:IOService:IOUSBHostDevice").
void read_class(std::string_view text, std::size_t column, tree_line& line)
{
    std::vector<std::string> root_first;
    for (;;)
    {
        std::size_t const colon = text.find(':');
        std::string_view const piece = text.substr(0, colon);
        if (piece.empty())
            throw syntax_error("the header names no class", column);
        root_first.emplace_back(piece);
        if (colon == std::string_view::npos)
            break;
        text.remove_prefix(colon + 1);
    }
    line.class_name = root_first.back();
    if (root_first.size() > 1)
        line.class_chain.assign(root_first.rbegin(), root_first.rend());
}

entry_id read_id(std::string_view text, std::size_t column)
{
    if (!text.starts_with("0x") || text.size() < 3 || text.size() > 18)
        throw syntax_error("the entry ID is not a hexadecimal number 0x…", column);
    entry_id id = 0;
    auto const [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), id, 16);
    if (error != std::errc{} || end != text.data() + text.size())
        throw syntax_error("the entry ID is not a hexadecimal number 0x…", column);
    return id;
}

} // namespace

tree_line parse_tree_line(std::string_view from_marker, bool clipped)
{
    tree_line line;
    std::string_view const rest = from_marker.substr(tree_marker.size());
    std::size_t const header_at = rest.find(header_start);
    if (header_at == std::string_view::npos)
    {
        if (rest.find(" class: ") != std::string_view::npos)
            throw syntax_error("this is a listing of class chains (name class: A:B:C), which shows no entry IDs; "
                               "it is not a registry dump",
                               tree_marker.size() + 1);
        throw syntax_error(clipped ? "the line is clipped before the entry's <class …, id …> header"
                                   : "the tree line has no <class …, id 0x…> header",
                           tree_marker.size() + 1);
    }

    std::string_view const shown_name = rest.substr(0, header_at);
    std::size_t const at = shown_name.find('@');
    line.name = std::string(shown_name.substr(0, at));
    if (line.name.empty())
        throw syntax_error("the entry has no name", tree_marker.size() + 1);
    if (at != std::string_view::npos)
        line.location = std::string(shown_name.substr(at + 1));

    std::size_t column = tree_marker.size() + header_at + header_start.size() + 1;
    std::string_view header = rest.substr(header_at + header_start.size());
    if (header.ends_with('>'))
        header.remove_suffix(1);
    else if (!clipped)
        throw syntax_error("the header is not closed with '>'", from_marker.size());

    // Fields are separated by ", "; a clipped line's last field may be cut short,
    // so it counts only when another field follows it.
    bool have_class = false;
    bool have_id = false;
    for (bool first = true;; first = false)
    {
        std::size_t const comma = header.find(", ");
        if (comma == std::string_view::npos && clipped)
            break;
        std::string_view const field = header.substr(0, comma);
        if (first)
        {
            if (field.empty())
                throw syntax_error("the header names no class", column);
            read_class(field, column, line);
            have_class = true;
        }
        else if (field.starts_with("id "))
        {
            line.id = read_id(field.substr(3), column + 3);
            have_id = true;
            break;
        }
        if (comma == std::string_view::npos)
            break;
        header.remove_prefix(comma + 2);
        column += comma + 2;
    }
    if (!have_class || !have_id)
        throw syntax_error(clipped ? "the line is clipped before the end of the entry's ID"
                                   : "the header has no entry ID (id 0x…)",
                           column);
    return line;
}

} // namespace plinth::sim::detail
