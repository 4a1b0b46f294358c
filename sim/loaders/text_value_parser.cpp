// The parser of property values as `ioreg -l` prints them.
#include "sim/loaders/text_value_parser.hpp"

#include "sim/detail/kernel/hex_text.hpp"
#include "sim/loaders/syntax_error.hpp"
#include "sim/loaders/value_depth.hpp"

#include <charconv>
#include <cstdint>
#include <string>

namespace plinth::sim::detail {

using property::array;
using property::make_number;
using property::set;

namespace {

// Data that ioreg shows as text: each string ends with a NUL byte, which ioreg
// does not print ("a","b" are the bytes a\0b\0).
data printable_data(std::string_view inside_quotes)
{
    data bytes;
    bytes.reserve(inside_quotes.size() + 1);
    for (;;)
    {
        std::size_t const separator = inside_quotes.find("\",\"");
        std::string_view const piece = inside_quotes.substr(0, separator);
        bytes.insert(bytes.end(), piece.begin(), piece.end());
        bytes.push_back(0);
        if (separator == std::string_view::npos)
            return bytes;
        inside_quotes.remove_prefix(separator + 3);
    }
}

// The number ioreg printed: it reads each one as a long long and prints that
// unsigned, so a 32-bit number with its top bit set comes out sign-extended
// (18446744071562067968), and a value from 2^31 to 2^32 - 1 can only have come
// from a 64-bit number. Each is loaded at the width that prints it back the same:
// 32 bits up to INT32_MAX, 64 above.
number printed_number(std::uint64_t printed)
{
    if (printed <= INT32_MAX)
        return number{static_cast<std::int64_t>(printed), 32};
    return number{static_cast<std::int64_t>(printed), 64};
}

} // namespace

value text_value_parser::parse_property_value(std::string_view text)
{
    // A property's own string or printable data runs to the end of the line, so
    // quotes inside it need no guessing.
    if (text.starts_with('"'))
    {
        if (text.size() < 2 || !text.ends_with('"'))
            throw syntax_error("the string is not closed", 1);
        return std::string(text.substr(1, text.size() - 2));
    }
    if (text.starts_with("<\""))
    {
        if (text.size() < 4 || !text.ends_with("\">"))
            throw syntax_error("the printable data is not closed with \">", 1);
        return printable_data(text.substr(2, text.size() - 4));
    }
    text_value_parser parser(text);
    value v = parser.parse_value({}, 0);
    if (parser.pos_ != text.size())
        parser.fail("unexpected text after the value");
    return v;
}

value text_value_parser::parse_value(std::string_view follow, int depth)
{
    if (depth > max_value_depth)
        fail("values nested more than " + std::to_string(max_value_depth) + " levels deep");
    if (pos_ >= text_.size())
        fail("a value is missing");
    // Inside a collection ioreg prints nothing at all for an object it cannot
    // show (seen as "Codec"=, in a real dump); like the objects it names as not
    // serializable, it reads as a string, here an empty one.
    if (!follow.empty() && follow.find(text_[pos_]) != std::string_view::npos)
        return std::string();
    switch (text_[pos_])
    {
    case '"': return parse_string(follow);
    case '<': return parse_data(follow);
    case '{': return parse_dictionary(depth);
    case '(': return array(parse_items(')', depth));
    case '[': return set{parse_items(']', depth)};
    case 'Y':
    case 'N': return parse_word();
    default: return parse_number();
    }
}

std::string text_value_parser::parse_string(std::string_view follow)
{
    std::size_t const open = pos_;
    for (std::size_t close = text_.find('"', open + 1); close != std::string_view::npos;
         close = text_.find('"', close + 1))
    {
        if (ends_token(close + 1, follow))
        {
            pos_ = close + 1;
            return std::string(text_.substr(open + 1, close - open - 1));
        }
    }
    fail_at(open, "the string is not closed");
}

data text_value_parser::parse_data(std::string_view follow)
{
    std::size_t const open = pos_;
    if (open + 1 < text_.size() && text_[open + 1] == '"')
    {
        for (std::size_t close = text_.find("\">", open + 2); close != std::string_view::npos;
             close = text_.find("\">", close + 1))
        {
            if (ends_token(close + 2, follow))
            {
                pos_ = close + 2;
                return printable_data(text_.substr(open + 2, close - open - 2));
            }
        }
        fail_at(open, "the printable data is not closed with \">");
    }
    data bytes;
    ++pos_;
    std::size_t const first_digit = pos_;
    while (pos_ < text_.size() && text_[pos_] != '>')
    {
        if (hex_digit(text_[pos_]) < 0)
            fail("data holds a character that is not a hex digit");
        ++pos_;
    }
    if (pos_ >= text_.size())
        fail_at(open, "the data is not closed with >");
    if ((pos_ - first_digit) % 2 != 0)
        fail_at(open, "the data has an odd number of hex digits");
    bytes.reserve((pos_ - first_digit) / 2);
    for (std::size_t i = first_digit; i < pos_; i += 2)
        bytes.push_back(static_cast<std::uint8_t>(hex_digit(text_[i]) * 16 + hex_digit(text_[i + 1])));
    ++pos_;
    return bytes;
}

dictionary text_value_parser::parse_dictionary(int depth)
{
    dictionary items;
    expect('{');
    if (pos_ < text_.size() && text_[pos_] == '}')
    {
        ++pos_;
        return items;
    }
    for (;;)
    {
        if (pos_ >= text_.size() || text_[pos_] != '"')
            fail("expected a quoted dictionary key");
        std::string key = parse_string("=");
        expect('=');
        items.emplace_back(std::move(key), parse_value(",}", depth + 1));
        if (pos_ < text_.size() && text_[pos_] == ',')
        {
            ++pos_;
            continue;
        }
        expect_closer('}');
        return items;
    }
}

std::vector<value> text_value_parser::parse_items(char closer, int depth)
{
    std::vector<value> items;
    ++pos_; // the opening bracket, checked by the caller
    if (pos_ < text_.size() && text_[pos_] == closer)
    {
        ++pos_;
        return items;
    }
    char const follow[] = {',', closer};
    for (;;)
    {
        items.push_back(parse_value(std::string_view(follow, 2), depth + 1));
        if (pos_ < text_.size() && text_[pos_] == ',')
        {
            ++pos_;
            continue;
        }
        expect_closer(closer);
        return items;
    }
}

number text_value_parser::parse_number()
{
    // ioreg never prints a sign, but a dump written by hand may.
    if (text_[pos_] == '-')
        return make_number(parse_integer<std::int64_t>());
    return printed_number(parse_integer<std::uint64_t>());
}

template <typename Integer>
Integer text_value_parser::parse_integer()
{
    char const* const first = text_.data() + pos_;
    Integer parsed = 0;
    auto const [end, error] = std::from_chars(first, text_.data() + text_.size(), parsed);
    if (error == std::errc::result_out_of_range)
        fail("the number does not fit in 64 bits");
    if (error != std::errc{})
        fail("expected a value");
    pos_ += static_cast<std::size_t>(end - first);
    return parsed;
}

bool text_value_parser::parse_word()
{
    std::string_view const rest = text_.substr(pos_);
    if (rest.starts_with("Yes"))
    {
        pos_ += 3;
        return true;
    }
    if (rest.starts_with("No"))
    {
        pos_ += 2;
        return false;
    }
    fail("expected a value");
}

bool text_value_parser::ends_token(std::size_t at, std::string_view follow) const
{
    if (follow.empty())
        return at == text_.size();
    return at < text_.size() && follow.find(text_[at]) != std::string_view::npos;
}

void text_value_parser::expect(char c)
{
    if (pos_ >= text_.size())
        fail(std::string("expected '") + c + "' before the end of the line");
    if (text_[pos_] != c)
        fail(std::string("expected '") + c + "'");
    ++pos_;
}

void text_value_parser::expect_closer(char closer)
{
    if (pos_ >= text_.size())
        fail(std::string("the collection is not closed with '") + closer + "'");
    if (text_[pos_] != closer)
        fail(std::string("expected ',' or '") + closer + "'");
    ++pos_;
}

void text_value_parser::fail(std::string const& what) const
{
    fail_at(pos_, what);
}

void text_value_parser::fail_at(std::size_t at, std::string const& what) const
{
    throw syntax_error(what, at + 1);
}

} // namespace plinth::sim::detail
