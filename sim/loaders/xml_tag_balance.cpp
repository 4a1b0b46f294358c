#include "sim/loaders/xml_tag_balance.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace plinth::sim::detail {

namespace {

class tag_scanner
{
public:
    explicit tag_scanner(std::string_view xml) : xml_(xml) {}

    std::optional<std::string> run()
    {
        for (std::size_t open = xml_.find('<'); open != std::string_view::npos; open = xml_.find('<', pos_))
        {
            advance_to(open);
            if (auto problem = read_markup())
                return problem;
        }
        if (!open_tags_.empty())
            return at(open_tags_.back().second, "<" + open_tags_.back().first + "> is never closed");
        return std::nullopt;
    }

private:
    // Reads the markup starting at pos_ ('<').
    std::optional<std::string> read_markup()
    {
        std::string_view const rest = xml_.substr(pos_);
        if (rest.starts_with("<?"))
            return skip_past("?>", "<?");
        if (rest.starts_with("<!--"))
            return skip_past("-->", "<!--");
        if (rest.starts_with("<![CDATA["))
            return skip_past("]]>", "<![CDATA[");
        if (rest.starts_with("<!"))
            return skip_past(">", "<!");

        std::size_t const close = rest.find('>');
        if (close == std::string_view::npos)
            return at(line_, "a tag is not closed with '>'");
        std::string_view tag = rest.substr(1, close - 1);
        std::size_t const tag_line = line_;
        advance_to(pos_ + close + 1);

        if (tag.starts_with('/'))
        {
            std::string const name(tag_name(tag.substr(1)));
            if (open_tags_.empty())
                return at(tag_line, "</" + name + "> closes no open element");
            auto const [open_name, open_line] = open_tags_.back();
            if (open_name != name)
                return at(tag_line, "</" + name + "> closes <" + open_name + "> opened at line " +
                                        std::to_string(open_line));
            open_tags_.pop_back();
        }
        else if (!tag.ends_with('/'))
            open_tags_.emplace_back(std::string(tag_name(tag)), tag_line);
        return std::nullopt;
    }

    std::optional<std::string> skip_past(std::string_view end, std::string_view what)
    {
        std::size_t const start_line = line_;
        std::size_t const found = xml_.find(end, pos_);
        if (found == std::string_view::npos)
            return at(start_line, std::string(what) + " is never closed with " + std::string(end));
        advance_to(found + end.size());
        return std::nullopt;
    }

    static std::string_view tag_name(std::string_view tag)
    {
        return tag.substr(0, tag.find_first_of(" \t\r\n/"));
    }

    void advance_to(std::size_t to)
    {
        line_ += static_cast<std::size_t>(std::count(xml_.begin() + static_cast<std::ptrdiff_t>(pos_),
                                                     xml_.begin() + static_cast<std::ptrdiff_t>(to), '\n'));
        pos_ = to;
    }

    static std::string at(std::size_t line, std::string const& what)
    {
        return "line " + std::to_string(line) + ": " + what;
    }

    std::string_view xml_;
    std::size_t pos_ = 0;
    std::size_t line_ = 1;
    std::vector<std::pair<std::string, std::size_t>> open_tags_;
};

} // namespace

std::optional<std::string> find_tag_imbalance(std::string_view xml)
{
    return tag_scanner(xml).run();
}

} // namespace plinth::sim::detail
