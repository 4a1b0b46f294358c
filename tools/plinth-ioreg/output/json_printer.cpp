// The JSON printer: entries, properties, trees and `show`'s details as ordered JSON objects.
#include "tools/plinth-ioreg/output/json_printer.hpp"

#include <fmt/format.h>

#include <iterator>

namespace plinth::ioreg_tool {
namespace {

json optional_to_json(std::optional<std::string> const& text)
{
    return text ? json(*text) : json(nullptr);
}

json summary_to_json(entry_summary const& summary)
{
    return json{
        {"id", format_entry_id(summary.id)},
        {"class", summary.class_name},
        {"name", summary.name},
        {"location", optional_to_json(summary.location)},
        {"path", optional_to_json(summary.path)},
    };
}

json dictionary_to_json(property::dictionary const& dictionary)
{
    auto object = json::object();
    for (auto const& [key, value] : dictionary)
        object[key] = value_to_json(value);
    return object;
}

json items_to_json(std::vector<property::value> const& items)
{
    auto array = json::array();
    for (auto const& item : items)
        array.push_back(value_to_json(item));
    return array;
}

json summaries_to_json(std::vector<entry_summary> const& summaries)
{
    auto array = json::array();
    for (auto const& summary : summaries)
        array.push_back(summary_to_json(summary));
    return array;
}

std::string hex(property::data const& bytes)
{
    std::string text;
    text.reserve(bytes.size() * 2);
    for (auto const b : bytes)
        fmt::format_to(std::back_inserter(text), "{:02x}", unsigned{b});
    return text;
}

struct to_json_visitor
{
    json operator()(bool b) const { return b; }
    // Unsigned at the number's own width, as the text shows it.
    json operator()(property::number const& n) const { return n.as_unsigned(); }
    json operator()(double d) const { return d; }
    json operator()(std::string const& s) const { return s; }
    json operator()(property::data const& bytes) const { return json{{"data", hex(bytes)}}; }
    json operator()(property::dictionary const& d) const { return dictionary_to_json(d); }
    json operator()(property::array const& a) const { return items_to_json(a); }
    json operator()(property::set const& s) const { return items_to_json(s.items); }
};

} // namespace

json value_to_json(property::value const& value)
{
    return std::visit(to_json_visitor{}, value.content);
}

json tree_to_json(tree_node const& root)
{
    auto object = summary_to_json(root.summary);
    if (root.properties)
        object["properties"] = dictionary_to_json(*root.properties);
    auto children = json::array();
    for (auto const& child : root.children)
        children.push_back(tree_to_json(child));
    object["children"] = std::move(children);
    return object;
}

json entry_details_to_json(entry_details const& details)
{
    auto object = summary_to_json(details.summary);
    object["global_name"] = details.global_name;
    auto planes = json::object();
    for (auto const& presence : details.planes)
    {
        planes[apple::to_string(presence.in)] = json{
            {"name", presence.name},
            {"location", optional_to_json(presence.location)},
            {"path", presence.path},
        };
    }
    object["planes"] = std::move(planes);
    object["properties"] = dictionary_to_json(details.properties);
    object["neighbours_plane"] = apple::to_string(details.neighbours_plane);
    object["parents"] = summaries_to_json(details.parents);
    object["children"] = summaries_to_json(details.children);
    return object;
}

std::string to_text(json const& document)
{
    // Registry strings come through CFString and are valid UTF-8; replacing rather
    // than throwing keeps a stray byte from losing the whole output.
    return document.dump(2, ' ', false, json::error_handler_t::replace) + '\n';
}

} // namespace plinth::ioreg_tool
