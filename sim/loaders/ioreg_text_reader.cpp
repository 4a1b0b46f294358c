// The reader of `ioreg` and `ioreg -l` text.
#include "sim/loaders/ioreg_text_reader.hpp"

#include "sim/loaders/dump_error.hpp"
#include "sim/loaders/syntax_error.hpp"
#include "sim/loaders/text_value_parser.hpp"
#include "sim/loaders/tree_line.hpp"

namespace plinth::sim::detail {

namespace {

// A clipped value keeps its visible text as a string: a cut number or collection
// would pass for a whole one of the wrong value, a string prefix cannot. A cut
// string loses its opening quote so that the text is a prefix of the real one.
value clipped_value(std::string_view visible)
{
    if (visible.starts_with('"'))
        visible.remove_prefix(1);
    return std::string(visible);
}

} // namespace

dump ioreg_text_reader::read(std::string_view text) &&
{
    std::size_t number = 0;
    while (!text.empty())
    {
        std::size_t const end = text.find('\n');
        read_line(split_text_line(text.substr(0, end), ++number));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    if (block_)
        fail(number, "the property block opened at line " + std::to_string(block_->opened_at) +
                         " is not closed before the end of the text");
    if (builder_.entry_count() == 0)
        fail(number == 0 ? 1 : number,
             number == 0 ? "the dump is empty" : "the text holds no registry entry (+-o name  <class …, id 0x…>)");
    return std::move(builder_).finish();
}

void ioreg_text_reader::read_line(text_line const& line)
{
    if (block_)
        read_block_line(line);
    else if (line.content.starts_with(tree_marker))
        read_tree_line(line);
    else if (line.content == "{")
        open_property_block(line);
    else if (line.content.empty())
        return; // a blank line, or one of tree drawing only
    else if (path_.empty() && builder_.entry_count() == 0 && line.content.find("ioreg") != std::string_view::npos)
        return; // the shell prompt and the command that printed the dump
    else if (line.content == "}")
        fail(line, "'}' closes no property block");
    else
        fail(line, "expected a tree line (+-o name  <class …, id 0x…>)");
}

void ioreg_text_reader::read_tree_line(text_line const& line)
{
    int const depth = line.tree_depth();
    if (depth < 0)
        fail(line, "the tree drawing left of '+-o' is not made of \"| \" and \"  \" steps");
    if (static_cast<std::size_t>(depth) > path_.size())
        fail(line, path_.empty() ? "the first entry is indented; it must start the line"
                                 : "the entry is indented " + std::to_string(depth) +
                                       " levels, more than one below the entry before it (" +
                                       std::to_string(path_.size() - 1) + ")");
    tree_line parsed;
    try
    {
        parsed = parse_tree_line(line.content, line.clipped);
    }
    catch (syntax_error const& e)
    {
        fail(line, std::string(e.what()) + " (column " + std::to_string(line.drawing.size() + e.column()) + ")");
    }

    path_.resize(static_cast<std::size_t>(depth));
    entry_id const id = parsed.id;
    try
    {
        builder_.add_entry(dump_entry{id,
                                      std::move(parsed.class_name),
                                      std::move(parsed.name),
                                      std::move(parsed.location),
                                      {},
                                      std::move(parsed.class_chain)});
        if (path_.empty())
            builder_.add_top(id);
        else
            builder_.add_link(path_.back(), id);
    }
    catch (dump_builder::conflict const& e)
    {
        fail(line, e.what());
    }
    path_.push_back(id);
    last_entry_has_block_ = false;
}

void ioreg_text_reader::open_property_block(text_line const& line)
{
    if (path_.empty())
        fail(line, "a property block before any entry");
    if (last_entry_has_block_)
        fail(line, "a second property block for the same entry");
    // The block is drawn two steps right of its entry's '+-o': one for the
    // entry's own level, one for its children's.
    std::size_t const column = 2 * (path_.size() + 1);
    if (line.drawing.size() != column)
        fail(line, "the '{' stands at column " + std::to_string(line.drawing.size() + 1) +
                       "; the block of the entry above belongs at column " + std::to_string(column + 1));
    block_ = open_block{line.number, column, path_.back()};
    last_entry_has_block_ = true;
}

void ioreg_text_reader::read_block_line(text_line const& line)
{
    std::string const unclosed = "the property block opened at line " + std::to_string(block_->opened_at);
    if (line.content == "}")
    {
        if (line.drawing.size() != block_->column)
            fail(line, "the '}' stands at column " + std::to_string(line.drawing.size() + 1) + "; " + unclosed +
                           " closes at column " + std::to_string(block_->column + 1));
        block_.reset();
    }
    else if (line.content.starts_with('"'))
    {
        if (line.drawing.size() != block_->column + 2)
            fail(line, "the property stands at column " + std::to_string(line.drawing.size() + 1) +
                           "; the properties of " + unclosed + " stand at column " +
                           std::to_string(block_->column + 3));
        read_property(line);
    }
    else if (line.content.starts_with(tree_marker))
        fail(line, unclosed + " is not closed with '}' before the next entry");
    else if (line.content.empty())
        fail(line, unclosed + " ends without '}'");
    else
        fail(line, "expected a property (\"key\" = value) or the '}' closing " + unclosed);
}

void ioreg_text_reader::read_property(text_line const& line)
{
    std::string_view const content = line.content;
    std::size_t const separator = content.find("\" = ", 1);
    if (separator == std::string_view::npos)
    {
        if (line.clipped)
            return; // the cut fell inside the key: nothing of the property can be kept
        fail(line, "expected a property (\"key\" = value)");
    }
    std::string key(content.substr(1, separator - 1));
    std::string_view const shown = content.substr(separator + 4);
    if (line.clipped)
    {
        builder_.add_property(block_->owner, std::move(key), clipped_value(shown));
        return;
    }
    try
    {
        builder_.add_property(block_->owner, key, text_value_parser::parse_property_value(shown));
    }
    catch (syntax_error const& e)
    {
        fail(line, "the value of \"" + key + "\" does not read: " + e.what() + " (column " +
                       std::to_string(line.drawing.size() + separator + 4 + e.column()) + ")");
    }
}

void ioreg_text_reader::fail(text_line const& line, std::string const& what) const
{
    fail(line.number, what);
}

void ioreg_text_reader::fail(std::size_t line_number, std::string const& what) const
{
    throw dump_error("line " + std::to_string(line_number) + ": " + what);
}

} // namespace plinth::sim::detail
