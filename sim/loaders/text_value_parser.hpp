// The parser of property values as `ioreg -l` prints them.
#pragma once

#include "property/value.hpp"

#include <cstddef>
#include <string_view>

namespace plinth::sim::detail {

using property::data;
using property::dictionary;
using property::number;
using property::value;

// Reads one property value as `ioreg -l` prints it: unsigned decimal numbers,
// Yes/No, "strings" (not escaped), <hex> data, <"printable","data">, {"k"=v,...}
// dictionaries, (v,...) arrays and [v,...] sets. Throws syntax_error.
//
// Strings are printed without escapes, so a quote inside one is told from the
// closing quote by what follows: the end of the line for a property's own value,
// or '=', ',' or the closing bracket inside a collection.
class text_value_parser
{
public:
    // Reads the whole text after `"key" = ` on a property line.
    static value parse_property_value(std::string_view text);

private:
    explicit text_value_parser(std::string_view text) : text_(text) {}

    value parse_value(std::string_view follow, int depth);
    std::string parse_string(std::string_view follow);
    data parse_data(std::string_view follow);
    dictionary parse_dictionary(int depth);
    std::vector<value> parse_items(char closer, int depth);
    number parse_number();
    template <typename Integer>
    Integer parse_integer();
    bool parse_word();

    // Where a token that `follow` may end is allowed to end: the end of the text
    // when `follow` is empty, else before one of its characters.
    bool ends_token(std::size_t at, std::string_view follow) const;
    void expect(char c);
    void expect_closer(char closer);
    [[noreturn]] void fail(std::string const& what) const;
    [[noreturn]] void fail_at(std::size_t at, std::string const& what) const;

    std::string_view text_;
    std::size_t pos_ = 0;
};

} // namespace plinth::sim::detail
