// The CFURL object of the CF model.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <CoreFoundation/CFURL.h>

#include <optional>
#include <string>

namespace plinth::sim::detail {

// An immutable CFURL: its string (ASCII, percent-escaped) and, for a relative
// URL, the base it is relative to. Equal strings and equal bases, equal URLs.
class cf_url final : public cf_object
{
public:
    // Retains `base` (nullptr for none).
    cf_url(std::string text, cf_url const* base);
    ~cf_url() override;

    static CFTypeID class_type_id();

    std::string const& text() const noexcept { return text_; }
    CFStringRef string() const noexcept { return string_; }
    cf_url const* base() const noexcept { return base_; }

    // The string resolved against the base.
    std::string absolute_text() const;
    // The path as the file system names it, for a file URL: unescaped, without a
    // trailing slash (but "/" stays "/"). Relative unless `resolve`. Nothing for
    // another scheme or a path that is not UTF-8 once unescaped.
    std::optional<std::string> file_system_path(bool resolve) const;
    // The URL's own path, escaped, or the base's when it has none.
    std::string path() const;

    bool equals(cf_object const& other) const override;
    CFHashCode hash() const override;
    // <CFURL 0x...>{string = file:///tmp/a%20b, encoding = 134217984, base = (null)}
    std::string description() const override;

private:
    std::string text_;
    CFStringRef string_;
    cf_url const* base_;
};

// A new CFURL (one reference) for a POSIX path: absolute as it is, relative
// against the current directory. nullptr for an empty path or when the current
// directory cannot be read.
CFURLRef make_file_url(std::string const& path, bool is_directory);

} // namespace plinth::sim::detail
