#include "sim/loaders/xml_tag_balance.hpp"

#include "sim/loaders/xml_markup_reader.hpp"

#include <utility>
#include <vector>

namespace plinth::sim::detail {

std::optional<std::string> find_tag_imbalance(std::string_view xml)
{
    xml_markup_reader reader(xml);
    std::vector<std::pair<std::string_view, std::size_t>> open_tags; // name, line
    while (auto const tag = reader.next())
    {
        if (tag->kind == xml_tag::form::opening)
            open_tags.emplace_back(tag->name, tag->line);
        else if (tag->kind == xml_tag::form::closing)
        {
            std::string const name(tag->name);
            if (open_tags.empty())
                return xml_markup_reader::at(tag->line, "</" + name + "> closes no open element");
            auto const [open_name, open_line] = open_tags.back();
            if (open_name != tag->name)
                return xml_markup_reader::at(tag->line, "</" + name + "> closes <" + std::string(open_name) +
                                                            "> opened at line " + std::to_string(open_line));
            open_tags.pop_back();
        }
    }
    if (reader.problem())
        return reader.problem();
    if (!open_tags.empty())
        return xml_markup_reader::at(open_tags.back().second,
                                     "<" + std::string(open_tags.back().first) + "> is never closed");
    return std::nullopt;
}

} // namespace plinth::sim::detail
