// One line of `ioreg` text: its number, tree drawing and content.
#pragma once

#include <cstddef>
#include <string_view>

namespace plinth::sim::detail {

// One line of `ioreg` text, split into the tree drawing on its left (spaces and
// '|') and what follows it.
struct text_line
{
    std::size_t number = 0;   // 1-based
    std::string_view drawing; // the leading spaces and bars
    std::string_view content; // the rest, without a clip mark or trailing blanks
    bool clipped = false;     // ioreg cut the line at the terminal width and marked it with '$'

    // Depth of a tree line whose drawing is whole "| " or "  " steps; -1 otherwise.
    int tree_depth() const noexcept;
};

text_line split_text_line(std::string_view raw, std::size_t number);

} // namespace plinth::sim::detail
