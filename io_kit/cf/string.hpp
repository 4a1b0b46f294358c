// CF::String: a CFString wrapper, made from C text or a CF object, read back in any encoding.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/type.hpp"

#include <string>

namespace CF {

// A CFString, or nothing.
class String : public Type
{
public:
    String() noexcept = default;

    // A new CFString from the C string `text` in `encoding`; empty when `text` is
    // null or its bytes are not valid in that encoding.
    String(char const* text, CFStringEncoding encoding) noexcept;

    // Shares `string` (Get rule: it is retained, the caller keeps its own
    // reference); works for constant strings such as kCFRunLoopDefaultMode too.
    explicit String(CFStringRef string) noexcept;

    // Shares the object that `pointer` holds when it is a CFString; empty otherwise.
    explicit String(AutoPointer const& pointer) noexcept;

    CFTypeRef GetTypeRef() const noexcept override;

    // The text in `encoding`; empty when the wrapper is empty or the text has no
    // form in that encoding.
    std::string GetValue(CFStringEncoding encoding = kCFStringEncodingUTF8) const;

private:
    AutoPointer string_;
};

} // namespace CF
