// A reader of XML tags with their line numbers, for the checks of property lists.
#include "sim/loaders/xml_markup_reader.hpp"

#include <algorithm>

namespace plinth::sim::detail {

std::optional<xml_tag> xml_markup_reader::next()
{
    while (!problem_)
    {
        std::size_t const open = xml_.find('<', pos_);
        if (open == std::string_view::npos)
            return std::nullopt;
        advance_to(open);
        std::string_view const rest = xml_.substr(pos_);
        if (rest.starts_with("<?"))
            skip_past("?>", "<?");
        else if (rest.starts_with("<!--"))
            skip_past("-->", "<!--");
        else if (rest.starts_with("<![CDATA["))
            skip_past("]]>", "<![CDATA[");
        else if (rest.starts_with("<!"))
            skip_past(">", "<!");
        else
        {
            std::size_t const close = rest.find('>');
            if (close == std::string_view::npos)
            {
                problem_ = at(line_, "a tag is not closed with '>'");
                return std::nullopt;
            }
            std::string_view tag = rest.substr(1, close - 1);
            xml_tag found;
            found.line = line_;
            found.start = pos_;
            found.end = pos_ + close + 1;
            if (tag.starts_with('/'))
            {
                found.kind = xml_tag::form::closing;
                tag.remove_prefix(1);
            }
            else if (tag.ends_with('/'))
                found.kind = xml_tag::form::empty;
            found.name = tag.substr(0, tag.find_first_of(" \t\r\n/"));
            advance_to(found.end);
            return found;
        }
    }
    return std::nullopt;
}

std::string xml_markup_reader::at(std::size_t line, std::string const& what)
{
    return "line " + std::to_string(line) + ": " + what;
}

bool xml_markup_reader::skip_past(std::string_view end, std::string_view what)
{
    std::size_t const start_line = line_;
    std::size_t const found = xml_.find(end, pos_);
    if (found == std::string_view::npos)
    {
        problem_ = at(start_line, std::string(what) + " is never closed with " + std::string(end));
        return false;
    }
    advance_to(found + end.size());
    return true;
}

void xml_markup_reader::advance_to(std::size_t to)
{
    line_ += static_cast<std::size_t>(std::count(xml_.begin() + static_cast<std::ptrdiff_t>(pos_),
                                                 xml_.begin() + static_cast<std::ptrdiff_t>(to), '\n'));
    pos_ = to;
}

} // namespace plinth::sim::detail
