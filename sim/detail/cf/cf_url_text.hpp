// The text of URLs: percent-escapes, the parts of a URL string, and resolving a relative URL against its base.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

// The parts of a URL string, as views into it. `scheme` is empty for a relative
// URL; `authority` is set only when the string has "//" after the scheme (or
// starts with it).
struct url_parts
{
    std::string_view scheme;
    std::optional<std::string_view> authority;
    std::string_view path;
    std::string_view rest; // "?query#fragment", from the first '?' or '#'
};

url_parts split_url(std::string_view url) noexcept;

// A path's UTF-8 bytes as they stand in a file URL: letters, digits and
// !$&'()*+,-./:=@_~ as they are, every other byte (';' and '?' among them, which
// would otherwise start a parameter or a query) as %XX in uppercase hex.
std::string escape_path(std::string_view utf8);

// Undoes percent-escapes; nothing when an escape is malformed or the bytes are
// not UTF-8.
std::optional<std::string> unescape(std::string_view text);

// Whether text may stand as a URL: only characters legal in a URL, each '%'
// followed by two hex digits, and at most one '#'.
bool is_url_text(std::string_view text) noexcept;

// `relative` resolved against the absolute URL `base`, with "." and ".."
// segments of a merged path removed.
std::string resolve_url(std::string_view base, std::string_view relative);

} // namespace plinth::sim::detail
