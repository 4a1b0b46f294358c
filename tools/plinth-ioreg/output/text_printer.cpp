// The text printer: "+-o" lines, ioreg -l's property blocks, and `show`'s indented details.
#include "tools/plinth-ioreg/output/text_printer.hpp"

#include "tools/plinth-ioreg/output/value_text.hpp"

#include <fmt/format.h>

#include <iterator>

namespace plinth::ioreg_tool {
namespace {

using output = std::back_insert_iterator<std::string>;

// ioreg -l's property block: braces and one line per property, each after `prefix`.
void append_property_block(output out, std::string const& prefix, property::dictionary const& properties)
{
    fmt::format_to(out, "{}{{\n", prefix);
    for (auto const& [key, value] : properties)
    {
        fmt::format_to(out, "{}  \"{}\" = ", prefix, key);
        append_value(out, value);
        *out++ = '\n';
    }
    fmt::format_to(out, "{}}}\n", prefix);
}

void append_node(output out, tree_node const& node, std::string const& prefix, bool more_siblings)
{
    fmt::format_to(out, "{}+-o {}\n", prefix, format_header(node.summary));
    auto const below = prefix + (more_siblings ? "| " : "  ");
    if (node.properties)
    {
        // ioreg ends the block with a line holding only the prefix, trailing blanks and all.
        auto const block_prefix = below + (node.children.empty() ? "  " : "| ");
        append_property_block(out, block_prefix, *node.properties);
        fmt::format_to(out, "{}\n", block_prefix);
    }
    for (std::size_t i = 0; i < node.children.size(); ++i)
        append_node(out, node.children[i], below, i + 1 < node.children.size());
}

void append_neighbours(output out, char const* relation, plane p, std::vector<entry_summary> const& entries)
{
    fmt::format_to(out, "  {} in {}:\n", relation, apple::to_string(p));
    if (entries.empty())
        fmt::format_to(out, "    (none)\n");
    for (auto const& entry : entries)
        fmt::format_to(out, "    {}\n", format_header(entry));
}

} // namespace

std::string format_header(entry_summary const& summary)
{
    return fmt::format("{}{}{}  <class {}, id {}>", summary.name, summary.location ? "@" : "",
                       summary.location.value_or(std::string()), summary.class_name, format_entry_id(summary.id));
}

std::string format_tree(tree_node const& root)
{
    std::string text;
    append_node(std::back_inserter(text), root, std::string(), false);
    return text;
}

std::string format_entry_details(entry_details const& details)
{
    std::string text;
    auto out = std::back_inserter(text);
    fmt::format_to(out, "{}\n", format_header(details.summary));
    fmt::format_to(out, "  class     {}\n  id        {}\n  name      {}\n", details.summary.class_name,
                   format_entry_id(details.summary.id), details.global_name);
    if (details.planes.empty())
        fmt::format_to(out, "  in no plane\n");
    for (auto const& presence : details.planes)
    {
        fmt::format_to(out, "  {}:\n    name      {}\n    location  {}\n    path      {}\n",
                       apple::to_string(presence.in), presence.name, presence.location.value_or("(none)"),
                       presence.path);
    }
    fmt::format_to(out, "  properties:\n");
    append_property_block(out, "    ", details.properties);
    append_neighbours(out, "parents", details.neighbours_plane, details.parents);
    append_neighbours(out, "children", details.neighbours_plane, details.children);
    return text;
}

} // namespace plinth::ioreg_tool
