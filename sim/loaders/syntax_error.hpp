// A fault in one line of dump text, with its column.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace plinth::sim::detail {

// A piece of dump text that does not read. The parsers of single lines throw it
// without knowing where the line sits; the reader that owns the line turns it into
// a dump_error naming the line.
class syntax_error : public std::runtime_error
{
public:
    syntax_error(std::string const& what, std::size_t column) : std::runtime_error(what), column_(column) {}

    // 1-based column of the offending character within the line's text.
    std::size_t column() const noexcept { return column_; }

private:
    std::size_t column_;
};

} // namespace plinth::sim::detail
