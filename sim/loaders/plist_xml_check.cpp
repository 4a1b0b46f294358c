// The property-list checks: one pass over the markup for values and depth, one for the pairing of tags.
#include "sim/loaders/plist_xml_check.hpp"

#include "sim/loaders/xml_markup_reader.hpp"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

namespace plinth::sim::detail {

namespace {

constexpr std::string_view xml_space = " \t\r\n";

std::string_view trimmed(std::string_view text)
{
    std::size_t const first = text.find_first_not_of(xml_space);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(xml_space) - first + 1);
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// Why the text is not an <integer>: a decimal or 0x-hexadecimal whole number,
// signed, that fits in 64 bits (unsigned when positive, as the kernel's OSNumber).
std::optional<std::string> integer_fault(std::string_view text)
{
    text = trimmed(text);
    bool const negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X"))
    {
        base = 16;
        text.remove_prefix(2);
    }
    else if (text.size() > 1 && text.front() == '0')
        return "a whole number with a leading zero (libplist would read it as octal)";
    std::uint64_t magnitude = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (text.empty() || end != text.data() + text.size() ||
        (error != std::errc{} && error != std::errc::result_out_of_range))
        return "not a whole number";
    if (error == std::errc::result_out_of_range || (negative && magnitude > (std::uint64_t{1} << 63)))
        return "a whole number beyond 64 bits";
    return std::nullopt;
}

std::optional<std::string> real_fault(std::string_view text)
{
    std::string const number(trimmed(text));
    char* end = nullptr;
    (void)std::strtod(number.c_str(), &end);
    if (number.empty() || end != number.c_str() + number.size())
        return "not a number";
    return std::nullopt;
}

bool is_base64_letter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || is_digit(c) || c == '+' || c == '/';
}

std::optional<std::string> data_fault(std::string_view text)
{
    std::size_t letters = 0;
    std::size_t padding = 0;
    for (char const c : text)
    {
        if (xml_space.find(c) != std::string_view::npos)
            continue;
        if (c == '=')
            ++padding;
        else if (is_base64_letter(c) && padding == 0)
            ++letters;
        else
            return padding > 0 && is_base64_letter(c) ? "base64 that goes on after its '=' padding"
                                                      : "not base64 (a character outside A-Z a-z 0-9 + /)";
    }
    if (padding > 2 || (letters + padding) % 4 != 0)
        return "base64 of a length that is not whole groups of four";
    return std::nullopt;
}

// ISO 8601 as property lists write it: 2001-01-01T00:00:00Z.
std::optional<std::string> date_fault(std::string_view text)
{
    text = trimmed(text);
    constexpr std::string_view shape = "dddd-dd-ddTdd:dd:ddZ";
    bool fits = text.size() == shape.size();
    for (std::size_t i = 0; fits && i < shape.size(); ++i)
        fits = shape[i] == 'd' ? is_digit(text[i]) : text[i] == shape[i];
    auto const field = [&](std::size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
    if (!fits || field(5) < 1 || field(5) > 12 || field(8) < 1 || field(8) > 31 || field(11) > 23 || field(14) > 59 ||
        field(17) > 60)
        return "not a date of the form 2001-01-01T00:00:00Z";
    return std::nullopt;
}

std::optional<std::string> boolean_fault(std::string_view text)
{
    if (!trimmed(text).empty())
        return "but the element holds nothing";
    return std::nullopt;
}

using fault_check = std::optional<std::string> (*)(std::string_view);

fault_check check_for(std::string_view element)
{
    if (element == "integer")
        return integer_fault;
    if (element == "real")
        return real_fault;
    if (element == "data")
        return data_fault;
    if (element == "date")
        return date_fault;
    if (element == "true" || element == "false")
        return boolean_fault;
    return nullptr;
}

std::string quoted(std::string_view text)
{
    constexpr std::size_t shown = 40;
    return "\"" + std::string(text.substr(0, shown)) + (text.size() > shown ? "…" : "") + "\"";
}

} // namespace

std::optional<std::string> find_unreadable_element(std::string_view xml)
{
    xml_markup_reader reader(xml);
    std::size_t depth = 0;
    while (auto const tag = reader.next())
    {
        if (tag->kind == xml_tag::form::closing)
        {
            if (depth > 0)
                --depth;
            continue;
        }
        if (tag->kind == xml_tag::form::empty)
            continue;
        if (++depth > max_plist_element_depth)
            return xml_markup_reader::at(tag->line, "<" + std::string(tag->name) + "> is nested more than " +
                                                        std::to_string(max_plist_element_depth) + " elements deep");
        auto const check = check_for(tag->name);
        if (check == nullptr)
            continue;
        std::string const element = "<" + std::string(tag->name) + ">";
        auto const closing = reader.next();
        if (!closing)
            break; // unclosed: libplist rejects it, and the balance check says where
        --depth;
        if (closing->kind != xml_tag::form::closing || closing->name != tag->name)
            return xml_markup_reader::at(tag->line, element + " holds markup, not a value");
        auto const text = xml.substr(tag->end, closing->start - tag->end);
        if (auto const fault = check(text))
            return xml_markup_reader::at(tag->line, element + " holds " + quoted(trimmed(text)) + ", " + *fault);
    }
    return std::nullopt;
}

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
