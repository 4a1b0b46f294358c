// CFString's C entry points: making strings from bytes and C strings, reading them in an encoding.
#include <CoreFoundation/CFString.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_range_check.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_text_encoding.hpp"

#include <algorithm>
#include <cstdio>
#include <climits>
#include <cstring>
#include <span>
#include <string>

namespace detail = plinth::sim::detail;
using detail::cf_string;

namespace {

CFStringRef create_from_bytes(UInt8 const* bytes, std::size_t size, CFStringEncoding encoding)
{
    auto utf8 = detail::decode_to_utf8(std::span(bytes, size), encoding);
    if (!utf8)
        return nullptr; // invalid in that encoding, or an encoding not supported: NULL, as CF
    return detail::make_cf_string(std::move(*utf8));
}

// The ASCII-compatible encodings, whose C strings can point into an ASCII text.
bool is_ascii_superset(CFStringEncoding encoding)
{
    return encoding == kCFStringEncodingASCII || encoding == kCFStringEncodingMacRoman ||
           encoding == kCFStringEncodingISOLatin1 || encoding == kCFStringEncodingWindowsLatin1 ||
           encoding == kCFStringEncodingUTF8;
}

// Only ASCII letters are folded: enough for the identifiers the registry holds.
int compare_case_insensitive(std::u16string const& a, std::u16string const& b)
{
    auto fold = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; };
    auto const size = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < size; ++i)
        if (fold(a[i]) != fold(b[i]))
            return fold(a[i]) < fold(b[i]) ? -1 : 1;
    return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

} // namespace

extern "C" {

CFStringRef __CFStringMakeConstantString(const char* cStr)
{
    if (cStr == nullptr)
    {
        plinth::sim::detail::report_misuse("__CFStringMakeConstantString: NULL C string");
        return nullptr;
    }
    return detail::cf_ref<CFStringRef>(&detail::constant_string(cStr));
}

CFTypeID CFStringGetTypeID(void)
{
    return cf_string::class_type_id();
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* cStr, CFStringEncoding encoding)
{
    if (cStr == nullptr)
    {
        plinth::sim::detail::report_misuse("CFStringCreateWithCString: NULL C string");
        return nullptr;
    }
    return create_from_bytes(reinterpret_cast<UInt8 const*>(cStr), std::strlen(cStr), encoding);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes, CFStringEncoding encoding,
                                    Boolean)
{
    if (!detail::cf_input_valid(bytes != nullptr, numBytes, "CFStringCreateWithBytes", "no bytes or a negative length"))
        return nullptr;
    return create_from_bytes(bytes, static_cast<std::size_t>(numBytes), encoding);
}

// Strings are immutable, so a copy is the same object with one more reference.
CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString)
{
    auto* string = detail::cf_checked<cf_string>(theString, "CFStringCreateCopy");
    if (string == nullptr)
        return nullptr;
    string->retain();
    return theString;
}

CFIndex CFStringGetLength(CFStringRef theString)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringGetLength");
    return string == nullptr ? 0 : string->length();
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringGetCharacterAtIndex");
    if (string == nullptr)
        return 0;
    if (idx < 0 || idx >= string->length())
    {
        plinth::sim::detail::report_misuse("CFStringGetCharacterAtIndex: index " + std::to_string(idx) +
                                           " outside a string of length " + std::to_string(string->length()));
        return 0;
    }
    if (string->is_ascii())
        return static_cast<UniChar>(string->utf8()[static_cast<std::size_t>(idx)]);
    return detail::to_utf16(string->utf8())[static_cast<std::size_t>(idx)];
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringGetCString");
    if (string == nullptr)
        return false;
    if (buffer == nullptr || bufferSize <= 0)
        return false;
    auto const encoded = detail::encode_from_utf8(string->utf8(), encoding);
    // The size counts the terminating NUL.
    if (!encoded || static_cast<CFIndex>(encoded->size()) >= bufferSize)
        return false;
    std::memcpy(buffer, encoded->data(), encoded->size());
    buffer[encoded->size()] = '\0';
    return true;
}

// The UTF-8 text is kept NUL-terminated, so it is the C string of any ASCII-compatible
// encoding when it is plain ASCII; otherwise NULL, which callers must expect anyway.
const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringGetCStringPtr");
    if (string == nullptr || !is_ascii_superset(encoding))
        return nullptr;
    if (encoding != kCFStringEncodingUTF8 && !string->is_ascii())
        return nullptr;
    return string->utf8().c_str();
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding)
{
    CFIndex bytes_per_unit = 1;
    switch (encoding)
    {
    case kCFStringEncodingUTF8: bytes_per_unit = 3; break; // a UTF-16 unit needs at most 3 bytes
    case kCFStringEncodingUTF16:
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE: bytes_per_unit = 2; break;
    case kCFStringEncodingUTF32:
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE: bytes_per_unit = 4; break;
    default: break;
    }
    if (length < 0 || length > LONG_MAX / bytes_per_unit)
        return kCFNotFound;
    return length * bytes_per_unit;
}

// A literal comparison of UTF-16 units. Of the options only kCFCompareCaseInsensitive
// is honoured (for ASCII letters); the others are ignored.
CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2, CFStringCompareFlags compareOptions)
{
    auto const* a = detail::cf_checked<cf_string>(theString1, "CFStringCompare");
    auto const* b = detail::cf_checked<cf_string>(theString2, "CFStringCompare");
    if (a == nullptr || b == nullptr)
        return kCFCompareEqualTo;
    auto const units_a = detail::to_utf16(a->utf8());
    auto const units_b = detail::to_utf16(b->utf8());
    int const order = (compareOptions & kCFCompareCaseInsensitive) != 0 ? compare_case_insensitive(units_a, units_b)
                                                                        : units_a.compare(units_b);
    return order < 0 ? kCFCompareLessThan : (order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo);
}

Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringHasPrefix");
    auto const* start = detail::cf_checked<cf_string>(prefix, "CFStringHasPrefix");
    return string != nullptr && start != nullptr && string->utf8().starts_with(start->utf8());
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringHasSuffix");
    auto const* end = detail::cf_checked<cf_string>(suffix, "CFStringHasSuffix");
    return string != nullptr && end != nullptr && string->utf8().ends_with(end->utf8());
}

// Strings show their text alone; everything else its description.
void CFShow(CFTypeRef obj)
{
    auto const* object = detail::cf_checked_object(obj, "CFShow");
    if (object == nullptr)
        return;
    auto const text = object->type_id() == cf_string::class_type_id() ? static_cast<cf_string const*>(object)->utf8()
                                                                      : object->description();
    std::fprintf(stderr, "%s\n", text.c_str());
}

} // extern "C"
