// A property value in ioreg's own syntax: numbers, strings, Yes/No, <data>, {dictionaries}, (arrays), [sets].
#include "tools/plinth-ioreg/output/value_text.hpp"

#include <fmt/format.h>

#include <iterator>

namespace plinth::ioreg_tool {
namespace {

using output = std::back_insert_iterator<std::string>;

// Data that ioreg shows as text: one or more non-empty runs of characters, each
// ended by a NUL byte (which is not shown). Bytes above 0x7f count as text, so
// that UTF-8 names show as text; control characters do not.
bool is_printable_text(property::data const& bytes)
{
    if (bytes.empty() || bytes.back() != 0)
        return false;
    bool run_is_empty = true;
    for (auto const c : bytes)
    {
        if (c == 0)
        {
            if (run_is_empty)
                return false;
            run_is_empty = true;
        }
        else if (c < 0x20 || c == 0x7f)
        {
            return false;
        }
        else
        {
            run_is_empty = false;
        }
    }
    return true;
}

void append_data(output out, property::data const& bytes)
{
    *out++ = '<';
    if (is_printable_text(bytes))
    {
        bool at_run_start = true;
        for (std::size_t i = 0; i + 1 < bytes.size(); ++i)
        {
            auto const c = static_cast<char>(bytes[i]);
            if (at_run_start)
                *out++ = '"';
            if (c == 0)
            {
                out = fmt::format_to(out, "\",");
                at_run_start = true;
                continue;
            }
            *out++ = c;
            at_run_start = false;
        }
        *out++ = '"';
    }
    else
    {
        for (auto const b : bytes)
            out = fmt::format_to(out, "{:02x}", unsigned{b});
    }
    *out++ = '>';
}

template <typename Items>
void append_items(output out, char open, Items const& items, char close)
{
    *out++ = open;
    bool first = true;
    for (auto const& item : items)
    {
        if (!first)
            *out++ = ',';
        first = false;
        append_value(out, item);
    }
    *out++ = close;
}

void append_dictionary(output out, property::dictionary const& dictionary)
{
    *out++ = '{';
    bool first = true;
    for (auto const& [key, item] : dictionary)
    {
        if (!first)
            *out++ = ',';
        first = false;
        out = fmt::format_to(out, "\"{}\"=", key);
        append_value(out, item);
    }
    *out++ = '}';
}

struct appender
{
    output out;

    void operator()(bool b) const { fmt::format_to(out, "{}", b ? "Yes" : "No"); }
    // ioreg's view of a number: unsigned at its own width, as the kernel's OSNumber
    // knows no sign, so a 32-bit -1 shows as 4294967295.
    void operator()(property::number const& n) const { fmt::format_to(out, "{}", n.as_unsigned()); }
    void operator()(double d) const { fmt::format_to(out, "{}", d); }
    void operator()(std::string const& s) const { fmt::format_to(out, "\"{}\"", s); }
    void operator()(property::data const& bytes) const { append_data(out, bytes); }
    void operator()(property::dictionary const& d) const { append_dictionary(out, d); }
    void operator()(property::array const& a) const { append_items(out, '(', a, ')'); }
    void operator()(property::set const& s) const { append_items(out, '[', s.items, ']'); }
};

} // namespace

void append_value(output out, property::value const& value)
{
    std::visit(appender{out}, value.content);
}

} // namespace plinth::ioreg_tool
