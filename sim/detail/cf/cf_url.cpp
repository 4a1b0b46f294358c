// The CFURL object: its string and base, the paths it stands for, equality, hashing and description.
#include "sim/detail/cf/cf_url.hpp"

#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"
#include "sim/detail/cf/cf_url_text.hpp"

#include <filesystem>
#include <functional>
#include <system_error>

namespace plinth::sim::detail {

cf_url::cf_url(std::string text, cf_url const* base)
    : cf_object(class_type_id(), false), text_(std::move(text)), string_(make_cf_string(text_)), base_(base)
{
    if (base_ != nullptr)
        base_->retain();
}

cf_url::~cf_url()
{
    CFRelease(string_);
    if (base_ != nullptr)
        CFRelease(base_->ref());
}

CFTypeID cf_url::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("CFURL");
    return id;
}

std::string cf_url::absolute_text() const
{
    return base_ == nullptr ? text_ : resolve_url(base_->absolute_text(), text_);
}

std::string cf_url::path() const
{
    auto const own = split_url(text_).path;
    if (own.empty() && base_ != nullptr && split_url(text_).scheme.empty())
        return base_->path();
    return std::string(own);
}

std::optional<std::string> cf_url::file_system_path(bool resolve) const
{
    auto const absolute = absolute_text();
    auto const parts = split_url(absolute);
    if (parts.scheme != "file")
        return std::nullopt;
    auto const escaped = resolve ? std::string(parts.path) : path();
    auto path = unescape(escaped);
    if (!path)
        return std::nullopt;
    while (path->size() > 1 && path->back() == '/')
        path->pop_back();
    return path;
}

bool cf_url::equals(cf_object const& other) const
{
    auto const& url = static_cast<cf_url const&>(other);
    if (text_ != url.text_)
        return false;
    if (base_ == nullptr || url.base_ == nullptr)
        return base_ == url.base_;
    return base_ == url.base_ || base_->equals(*url.base_);
}

CFHashCode cf_url::hash() const
{
    return std::hash<std::string>{}(text_);
}

// Apple's debug description of a URL; the base, when there is one, is described
// the same way within it.
std::string cf_url::description() const
{
    return description_head() + "{string = " + text_ +
           ", encoding = 134217984, base = " + (base_ == nullptr ? std::string("(null)") : base_->description()) + "}";
}

CFURLRef make_file_url(std::string const& path, bool is_directory)
{
    if (path.empty())
        return nullptr;
    std::string text = escape_path(path);
    // A directory's URL ends in a slash, and only a directory's; "/" is always one.
    if (is_directory && text.back() != '/')
        text += '/';
    while (!is_directory && text.size() > 1 && text.back() == '/')
        text.pop_back();
    if (path.front() == '/')
        return cf_ref<CFURLRef>(make_cf_object<cf_url>("file://" + text, nullptr));
    // As on a Mac, a relative path stays relative: its URL's base is the current
    // directory of the moment, so that CFURLGetString gives back the relative part.
    std::error_code error;
    auto const directory = std::filesystem::current_path(error);
    if (error)
        return nullptr;
    std::string base_text = "file://" + escape_path(directory.string());
    if (base_text.back() != '/')
        base_text += '/';
    auto const* base = make_cf_object<cf_url>(std::move(base_text), nullptr);
    auto const* url = make_cf_object<cf_url>(std::move(text), base);
    CFRelease(base->ref());
    return cf_ref<CFURLRef>(url);
}

} // namespace plinth::sim::detail
