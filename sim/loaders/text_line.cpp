// Splitting a line of `ioreg` text into its tree drawing and its content.
#include "sim/loaders/text_line.hpp"

namespace plinth::sim::detail {

int text_line::tree_depth() const noexcept
{
    if (drawing.size() % 2 != 0)
        return -1;
    for (std::size_t i = 0; i < drawing.size(); i += 2)
        if (drawing[i + 1] != ' ' || (drawing[i] != ' ' && drawing[i] != '|'))
            return -1;
    return static_cast<int>(drawing.size() / 2);
}

text_line split_text_line(std::string_view raw, std::size_t number)
{
    text_line line;
    line.number = number;
    if (raw.ends_with('\r'))
        raw.remove_suffix(1);
    // Without -w0, ioreg cuts long lines at the terminal width and ends them with
    // '$'. No complete line ends with '$': values end with a quote, a bracket, a
    // digit or Yes/No, and headers with '>'.
    if (raw.ends_with('$'))
    {
        line.clipped = true;
        raw.remove_suffix(1);
    }
    else
    {
        while (!raw.empty() && (raw.back() == ' ' || raw.back() == '\t'))
            raw.remove_suffix(1);
    }
    std::size_t const drawn = raw.find_first_not_of(" |");
    line.drawing = raw.substr(0, drawn == std::string_view::npos ? raw.size() : drawn);
    line.content = raw.substr(line.drawing.size());
    return line;
}

} // namespace plinth::sim::detail
