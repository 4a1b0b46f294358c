// CF::String: creation from C text, and reading through CF's fast path or else a sized buffer.
#include "io_kit/cf/string.hpp"

#include "io_kit/detail/keep_if_type.hpp"
#include "io_kit/detail/share.hpp"

#include <vector>

namespace CF {

String::String(char const* text, CFStringEncoding encoding) noexcept
    : string_(text != nullptr ? CFStringCreateWithCString(kCFAllocatorDefault, text, encoding) : nullptr)
{
}

String::String(CFStringRef string) noexcept : string_(plinth::apple::io_kit::detail::share(string)) {}

String::String(AutoPointer const& pointer) noexcept
    : string_(plinth::apple::io_kit::detail::keep_if_type(pointer, CFStringGetTypeID()))
{
}

CFTypeRef String::GetTypeRef() const noexcept
{
    return string_.GetTypeRef();
}

std::string String::GetValue(CFStringEncoding encoding) const
{
    auto const string = static_cast<CFStringRef>(GetTypeRef());
    if (string == nullptr)
        return {};

    // The fast path only: CoreFoundation may keep no C form of the text (non-ASCII
    // text is commonly stored as UTF-16), and then this returns null.
    if (char const* direct = CFStringGetCStringPtr(string, encoding))
        return direct;

    CFIndex const size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), encoding);
    if (size == kCFNotFound)
        return {};
    std::vector<char> buffer(static_cast<std::size_t>(size) + 1); // + 1 for the terminating NUL
    if (!CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()), encoding))
        return {};
    return buffer.data();
}

} // namespace CF
