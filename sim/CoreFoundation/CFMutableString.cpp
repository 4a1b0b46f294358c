// CFMutableString's C entry points, and the strings made from a format.
#include <CoreFoundation/CFString.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_range_check.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_string_format.hpp"
#include "sim/detail/cf/cf_text_encoding.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"

#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace detail = plinth::sim::detail;
using detail::cf_string;

namespace {

// The text of `format` with `arguments`, or nothing after reporting why.
std::optional<std::string> formatted(CFStringRef format, va_list arguments, char const* function)
{
    auto const* pattern = detail::cf_checked<cf_string>(format, function);
    if (pattern == nullptr)
        return std::nullopt;
    std::string problem;
    va_list copy;
    va_copy(copy, arguments);
    auto text = detail::format_cf_string(pattern->utf8(), &copy, problem);
    va_end(copy);
    // %s copies bytes as they are: text that is not UTF-8 cannot be a string here.
    if (text && !detail::decode_to_utf8(std::span(reinterpret_cast<UInt8 const*>(text->data()), text->size()),
                                        kCFStringEncodingUTF8))
        problem = "a %s argument is not UTF-8";
    if (!problem.empty())
    {
        detail::report_misuse(std::string(function) + ": " + problem);
        return std::nullopt;
    }
    return text;
}

// Replaces a range of a mutable string, checked, with valid UTF-8 text.
void replace_range(CFMutableStringRef theString, CFRange range, std::string_view utf8, char const* function)
{
    auto* string = detail::cf_checked_mutable<cf_string>(theString, function);
    if (string == nullptr || !detail::cf_range_within(range, static_cast<std::size_t>(string->length()), function))
        return;
    if (auto const bytes = detail::string_bytes_of(*string, range, function))
        string->replace_bytes(bytes->first, bytes->second, utf8);
}

// The text of a string argument, copied: it may be the string being changed.
std::optional<std::string> text_of(CFStringRef theString, char const* function)
{
    auto const* string = detail::cf_checked<cf_string>(theString, function);
    if (string == nullptr)
        return std::nullopt;
    return string->utf8();
}

void append_text(CFMutableStringRef theString, std::string_view utf8, char const* function)
{
    if (auto* string = detail::cf_checked_mutable<cf_string>(theString, function))
        string->replace_bytes(string->utf8().size(), string->utf8().size(), utf8);
}

} // namespace

extern "C" {

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex maxLength)
{
    if (!detail::cf_capacity_valid(maxLength, "CFStringCreateMutable"))
        return nullptr;
    return detail::make_cf_mutable_string({});
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex maxLength, CFStringRef theString)
{
    if (!detail::cf_capacity_valid(maxLength, "CFStringCreateMutableCopy"))
        return nullptr;
    auto text = text_of(theString, "CFStringCreateMutableCopy");
    return text ? detail::make_cf_mutable_string(std::move(*text)) : nullptr;
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    CFStringRef const made = CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, arguments);
    va_end(arguments);
    return made;
}

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef, CFStringRef format, va_list arguments)
{
    auto text = formatted(format, arguments, "CFStringCreateWithFormat");
    return text ? detail::make_cf_string(std::move(*text)) : nullptr;
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString)
{
    if (auto const text = text_of(appendedString, "CFStringAppend"))
        append_text(theString, *text, "CFStringAppend");
}

void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars, CFIndex numChars)
{
    auto const text = detail::text_of_characters(chars, numChars, "CFStringAppendCharacters");
    if (!text)
        return;
    append_text(theString, *text, "CFStringAppendCharacters");
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding)
{
    if (cStr == nullptr)
    {
        detail::report_misuse("CFStringAppendCString: NULL C string");
        return;
    }
    auto const text =
        detail::decode_to_utf8(std::span(reinterpret_cast<UInt8 const*>(cStr), std::strlen(cStr)), encoding);
    // As on a Mac, bytes that are not valid in the encoding leave the string as it was.
    if (text)
        append_text(theString, *text, "CFStringAppendCString");
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions, CFStringRef format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    CFStringAppendFormatAndArguments(theString, formatOptions, format, arguments);
    va_end(arguments);
}

void CFStringAppendFormatAndArguments(CFMutableStringRef theString, CFDictionaryRef, CFStringRef format,
                                      va_list arguments)
{
    if (auto const text = formatted(format, arguments, "CFStringAppendFormat"))
        append_text(theString, *text, "CFStringAppendFormat");
}

void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr)
{
    if (auto const text = text_of(insertedStr, "CFStringInsert"))
        replace_range(str, CFRangeMake(idx, 0), *text, "CFStringInsert");
}

void CFStringDelete(CFMutableStringRef theString, CFRange range)
{
    replace_range(theString, range, {}, "CFStringDelete");
}

void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement)
{
    if (auto const text = text_of(replacement, "CFStringReplace"))
        replace_range(theString, range, *text, "CFStringReplace");
}

void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement)
{
    if (auto const text = text_of(replacement, "CFStringReplaceAll"))
        if (auto* string = detail::cf_checked_mutable<cf_string>(theString, "CFStringReplaceAll"))
            string->replace_bytes(0, string->utf8().size(), *text);
}

} // extern "C"
