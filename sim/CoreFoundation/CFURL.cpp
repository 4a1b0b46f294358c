// CFURL's C entry points: file URLs from paths and back, URL strings, and the parts of a URL.
#include <CoreFoundation/CFURL.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_text_encoding.hpp"
#include "sim/detail/cf/cf_url.hpp"
#include "sim/detail/cf/cf_url_text.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <string>

namespace detail = plinth::sim::detail;
using detail::cf_url;

namespace {

// Only POSIX paths are modelled: HFS paths went with the Carbon File Manager and
// Windows paths have no file system here, so another style is refused as misuse
// rather than half-translated.
bool is_posix_style(CFURLPathStyle style, char const* function)
{
    if (style == kCFURLPOSIXPathStyle)
        return true;
    detail::report_misuse(std::string(function) + ": only kCFURLPOSIXPathStyle paths are simulated");
    return false;
}

// The last path component, unescaped, of an escaped path.
std::optional<std::string> last_component(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    auto const slash = path.rfind('/');
    if (path.size() > 1 && slash != std::string::npos)
        path.erase(0, slash + 1);
    return detail::unescape(path);
}

} // namespace

extern "C" {

CFTypeID CFURLGetTypeID(void)
{
    return cf_url::class_type_id();
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef URLString, CFURLRef baseURL)
{
    auto const* text = detail::cf_checked<detail::cf_string>(URLString, "CFURLCreateWithString");
    if (text == nullptr)
        return nullptr;
    cf_url const* base = nullptr;
    if (baseURL != nullptr && (base = detail::cf_checked<cf_url>(baseURL, "CFURLCreateWithString")) == nullptr)
        return nullptr;
    if (!detail::is_url_text(text->utf8()))
        return nullptr;
    // An absolute URL stands alone: the base matters only to a relative one.
    if (!detail::split_url(text->utf8()).scheme.empty())
        base = nullptr;
    return detail::cf_ref<CFURLRef>(detail::make_cf_object<cf_url>(text->utf8(), base));
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef filePath, CFURLPathStyle pathStyle,
                                       Boolean isDirectory)
{
    auto const* path = detail::cf_checked<detail::cf_string>(filePath, "CFURLCreateWithFileSystemPath");
    if (path == nullptr || !is_posix_style(pathStyle, "CFURLCreateWithFileSystemPath"))
        return nullptr;
    return detail::make_file_url(path->utf8(), isDirectory != 0);
}

// The path ends at the first NUL within bufLen, as a C string would.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* buffer, CFIndex bufLen,
                                                 Boolean isDirectory)
{
    if (buffer == nullptr || bufLen < 0)
    {
        detail::report_misuse("CFURLCreateFromFileSystemRepresentation: NULL buffer or negative length");
        return nullptr;
    }
    std::span<UInt8 const> bytes(buffer, static_cast<std::size_t>(bufLen));
    bytes = bytes.first(static_cast<std::size_t>(std::find(bytes.begin(), bytes.end(), UInt8{0}) - bytes.begin()));
    auto const path = detail::decode_to_utf8(bytes, kCFStringEncodingUTF8);
    return path ? detail::make_file_url(*path, isDirectory != 0) : nullptr;
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer, CFIndex maxBufLen)
{
    auto const* object = detail::cf_checked<cf_url>(url, "CFURLGetFileSystemRepresentation");
    if (object == nullptr)
        return false;
    if (buffer == nullptr || maxBufLen < 0)
    {
        detail::report_misuse("CFURLGetFileSystemRepresentation: NULL buffer or negative length");
        return false;
    }
    auto const path = object->file_system_path(resolveAgainstBase != 0);
    // The path and its NUL must fit; a path that does not is not cut short.
    if (!path || path->size() + 1 > static_cast<std::size_t>(maxBufLen))
        return false;
    std::memcpy(buffer, path->c_str(), path->size() + 1);
    return true;
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL)
{
    auto const* object = detail::cf_checked<cf_url>(relativeURL, "CFURLCopyAbsoluteURL");
    if (object == nullptr)
        return nullptr;
    if (object->base() == nullptr)
    {
        object->retain();
        return relativeURL;
    }
    return detail::cf_ref<CFURLRef>(detail::make_cf_object<cf_url>(object->absolute_text(), nullptr));
}

CFURLRef CFURLGetBaseURL(CFURLRef anURL)
{
    auto const* object = detail::cf_checked<cf_url>(anURL, "CFURLGetBaseURL");
    return object == nullptr || object->base() == nullptr ? nullptr : detail::cf_ref<CFURLRef>(object->base());
}

CFStringRef CFURLGetString(CFURLRef anURL)
{
    auto const* object = detail::cf_checked<cf_url>(anURL, "CFURLGetString");
    return object == nullptr ? nullptr : object->string();
}

// The path as given, not resolved against the base: a URL made from a relative
// path gives that relative path back.
CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle)
{
    auto const* object = detail::cf_checked<cf_url>(anURL, "CFURLCopyFileSystemPath");
    if (object == nullptr || !is_posix_style(pathStyle, "CFURLCopyFileSystemPath"))
        return nullptr;
    auto path = object->file_system_path(false);
    return path ? detail::make_cf_string(std::move(*path)) : nullptr;
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL)
{
    auto const* object = detail::cf_checked<cf_url>(anURL, "CFURLHasDirectoryPath");
    if (object == nullptr)
        return false;
    auto const path = object->path();
    return !path.empty() && path.back() == '/';
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef url)
{
    auto const* object = detail::cf_checked<cf_url>(url, "CFURLCopyLastPathComponent");
    if (object == nullptr)
        return nullptr;
    auto component = last_component(object->path());
    return component ? detail::make_cf_string(std::move(*component)) : nullptr;
}

// The text after the last '.' of the last path component; none for a component
// without a dot, one that ends with it, or a hidden file's leading dot alone.
CFStringRef CFURLCopyPathExtension(CFURLRef url)
{
    auto const* object = detail::cf_checked<cf_url>(url, "CFURLCopyPathExtension");
    if (object == nullptr)
        return nullptr;
    auto const component = last_component(object->path());
    if (!component)
        return nullptr;
    auto const dot = component->rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == component->size())
        return nullptr;
    return detail::make_cf_string(component->substr(dot + 1));
}

} // extern "C"
