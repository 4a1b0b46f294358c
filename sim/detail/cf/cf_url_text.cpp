// The text of URLs: percent-escapes, splitting a URL string, and resolving relative URLs.
#include "sim/detail/cf/cf_url_text.hpp"

#include "sim/detail/cf/cf_text_encoding.hpp"
#include "sim/detail/kernel/hex_text.hpp"

#include <fmt/format.h>

#include <cctype>
#include <span>
#include <vector>

namespace plinth::sim::detail {

namespace {

bool is_alnum(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool is_path_character(char c) noexcept
{
    return is_alnum(c) || std::string_view("!$&'()*+,-./:=@_~").find(c) != std::string_view::npos;
}

// RFC 3986's reserved and unreserved characters: what a URL may hold unescaped.
bool is_url_character(char c) noexcept
{
    return is_path_character(c) || c == ';' || c == '?' || c == '[' || c == ']';
}

// RFC 3986 section 5.2.4: "a/./b/../c" is "a/c".
std::string remove_dot_segments(std::string_view path)
{
    std::vector<std::string_view> kept;
    bool const absolute = !path.empty() && path.front() == '/';
    std::string_view rest = absolute ? path.substr(1) : path;
    bool directory = false;
    while (true)
    {
        auto const slash = rest.find('/');
        auto const segment = rest.substr(0, slash);
        directory = segment == "." || segment == "..";
        if (segment == "..")
        {
            if (!kept.empty())
                kept.pop_back();
        }
        else if (segment != ".")
            kept.push_back(segment);
        if (slash == std::string_view::npos)
            break;
        rest.remove_prefix(slash + 1);
        if (rest.empty())
        {
            kept.push_back({});
            directory = false;
        }
    }
    std::string result = absolute ? "/" : "";
    for (std::size_t i = 0; i < kept.size(); ++i)
    {
        if (i > 0)
            result += '/';
        result += kept[i];
    }
    if (directory && !result.empty() && result.back() != '/')
        result += '/';
    return result;
}

} // namespace

url_parts split_url(std::string_view url) noexcept
{
    url_parts parts;
    auto const colon = url.find_first_of(":/?#");
    if (colon != std::string_view::npos && colon > 0 && url[colon] == ':' &&
        std::isalpha(static_cast<unsigned char>(url.front())) != 0)
    {
        auto const scheme = url.substr(0, colon);
        bool valid = true;
        for (char const c : scheme)
            valid = valid && (is_alnum(c) || c == '+' || c == '-' || c == '.');
        if (valid)
        {
            parts.scheme = scheme;
            url.remove_prefix(colon + 1);
        }
    }
    if (url.starts_with("//"))
    {
        url.remove_prefix(2);
        auto const end = url.find_first_of("/?#");
        parts.authority = url.substr(0, end);
        url.remove_prefix(end == std::string_view::npos ? url.size() : end);
    }
    auto const end = url.find_first_of("?#");
    parts.path = url.substr(0, end);
    parts.rest = end == std::string_view::npos ? std::string_view{} : url.substr(end);
    return parts;
}

std::string escape_path(std::string_view utf8)
{
    std::string escaped;
    escaped.reserve(utf8.size());
    for (char const c : utf8)
    {
        if (is_path_character(c))
            escaped += c;
        else
            escaped += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return escaped;
}

std::optional<std::string> unescape(std::string_view text)
{
    std::vector<UInt8> bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] != '%')
        {
            bytes.push_back(static_cast<UInt8>(text[i]));
            continue;
        }
        if (i + 2 >= text.size())
            return std::nullopt;
        int const high = hex_digit(text[i + 1]);
        int const low = hex_digit(text[i + 2]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.push_back(static_cast<UInt8>(high * 16 + low));
        i += 2;
    }
    return decode_to_utf8(std::span<UInt8 const>(bytes), kCFStringEncodingUTF8);
}

bool is_url_text(std::string_view text) noexcept
{
    bool fragment = false;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        char const c = text[i];
        if (c == '#')
        {
            if (fragment)
                return false;
            fragment = true;
        }
        else if (c == '%')
        {
            if (i + 2 >= text.size() || hex_digit(text[i + 1]) < 0 || hex_digit(text[i + 2]) < 0)
                return false;
            i += 2;
        }
        else if (!is_url_character(c))
            return false;
    }
    return true;
}

std::string resolve_url(std::string_view base, std::string_view relative)
{
    auto const r = split_url(relative);
    if (!r.scheme.empty())
        return std::string(relative);
    auto const b = split_url(base);
    std::string head = std::string(b.scheme) + ':';
    if (r.authority)
        return head + std::string(relative);
    if (b.authority)
        head += "//" + std::string(*b.authority);
    if (r.path.empty())
    {
        auto const base_rest = r.rest.empty() || r.rest.front() == '#' ? b.rest.substr(0, b.rest.find('#')) : "";
        return head + std::string(b.path) + std::string(base_rest) + std::string(r.rest);
    }
    if (r.path.front() == '/')
        return head + remove_dot_segments(r.path) + std::string(r.rest);
    auto const directory_end = b.path.rfind('/');
    std::string merged = directory_end == std::string_view::npos ? std::string(b.authority ? "/" : "")
                                                                 : std::string(b.path.substr(0, directory_end + 1));
    merged += r.path;
    return head + remove_dot_segments(merged) + std::string(r.rest);
}

} // namespace plinth::sim::detail
