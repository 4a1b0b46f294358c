// A reader of XML tags with their line numbers, for the checks of property lists.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

// One tag of an XML text, as xml_markup_reader meets it.
struct xml_tag
{
    enum class form
    {
        opening, // <dict>
        closing, // </dict>
        empty    // <true/>
    };

    form kind = form::opening;
    std::string_view name;
    std::size_t line = 1;  // where the tag starts
    std::size_t start = 0; // offset of its '<'
    std::size_t end = 0;   // offset just past its '>'
};

// Reads an XML text tag by tag, without recursion, skipping declarations,
// comments and CDATA sections, and counting lines. It knows nothing of what the
// tags mean: the checks that run before libplist sees a property list build on it.
class xml_markup_reader
{
public:
    explicit xml_markup_reader(std::string_view xml) : xml_(xml) {}

    // The next tag; none at the end of the text, or when markup is left open
    // (then problem() says where).
    std::optional<xml_tag> next();

    std::optional<std::string> const& problem() const noexcept { return problem_; }

    // "line 12: what"
    static std::string at(std::size_t line, std::string const& what);

private:
    bool skip_past(std::string_view end, std::string_view what);
    void advance_to(std::size_t to);

    std::string_view xml_;
    std::size_t pos_ = 0;
    std::size_t line_ = 1;
    std::optional<std::string> problem_;
};

} // namespace plinth::sim::detail
