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
#include <vector>
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
char16_t fold_ascii(char16_t c)
{
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
}

int compare_case_insensitive(std::u16string const& a, std::u16string const& b)
{
    auto const fold = fold_ascii;
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

// An immutable string's copy is the same object with one more reference; a
// mutable one's is a new immutable string.
CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString)
{
    auto* string = detail::cf_checked<cf_string>(theString, "CFStringCreateCopy");
    if (string == nullptr)
        return nullptr;
    if (string->is_mutable())
        return detail::make_cf_string(string->utf8());
    string->retain();
    return theString;
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* chars, CFIndex numChars)
{
    auto utf8 = detail::text_of_characters(chars, numChars, "CFStringCreateWithCharacters");
    if (!utf8)
        return nullptr;
    return detail::make_cf_string(std::move(*utf8));
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef str, CFRange range)
{
    auto const* string = detail::cf_checked<cf_string>(str, "CFStringCreateWithSubstring");
    if (string == nullptr ||
        !detail::cf_range_within(range, static_cast<std::size_t>(string->length()), "CFStringCreateWithSubstring"))
        return nullptr;
    auto const bytes = detail::string_bytes_of(*string, range, "CFStringCreateWithSubstring");
    if (!bytes)
        return nullptr;
    return detail::make_cf_string(string->utf8().substr(bytes->first, bytes->second - bytes->first));
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
// encoding when it is plain ASCII. Otherwise NULL, in UTF-8 too: a Mac keeps such
// text in UTF-16 and has no C string to point at, and programs written for it
// fall back to CFStringGetCString.
const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringGetCStringPtr");
    if (string == nullptr || !is_ascii_superset(encoding) || !string->is_ascii())
        return nullptr;
    return string->utf8().c_str();
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringGetCharacters");
    if (string == nullptr ||
        !detail::cf_range_within(range, static_cast<std::size_t>(string->length()), "CFStringGetCharacters"))
        return;
    if (buffer == nullptr)
    {
        plinth::sim::detail::report_misuse("CFStringGetCharacters: NULL buffer");
        return;
    }
    auto const units = detail::to_utf16(string->utf8());
    std::copy_n(units.begin() + range.location, range.length, reinterpret_cast<char16_t*>(buffer));
}

// Character by character, so that one with no form in the encoding stops the
// conversion there, or becomes lossByte when one is given.
CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen, CFIndex* usedBufLen)
{
    auto const report_used = [&](CFIndex used) {
        if (usedBufLen != nullptr)
            *usedBufLen = used;
    };
    report_used(0);
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringGetBytes");
    if (string == nullptr ||
        !detail::cf_range_within(range, static_cast<std::size_t>(string->length()), "CFStringGetBytes"))
        return 0;
    auto const bytes = detail::string_bytes_of(*string, range, "CFStringGetBytes");
    if (!bytes || !detail::encode_from_utf8("", encoding))
        return 0;
    std::size_t const room = buffer == nullptr ? SIZE_MAX : static_cast<std::size_t>(std::max<CFIndex>(maxBufLen, 0));
    std::string out;
    // The external representation of the unmarked UTF-16 and UTF-32 opens with a
    // byte-order mark, in the host's order.
    if (isExternalRepresentation && (encoding == kCFStringEncodingUTF16 || encoding == kCFStringEncodingUTF32))
        out = *detail::encode_from_utf8("\uFEFF", encoding);
    if (out.size() > room)
        return 0;
    CFIndex converted = 0;
    std::string_view const text = std::string_view(string->utf8()).substr(bytes->first, bytes->second - bytes->first);
    for (std::size_t at = 0; at < text.size();)
    {
        std::size_t next = at + 1;
        while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0) == 0x80)
            ++next;
        auto const character = text.substr(at, next - at);
        auto encoded = detail::encode_from_utf8(character, encoding);
        if (!encoded)
        {
            if (lossByte == 0)
                break;
            encoded = std::string(1, static_cast<char>(lossByte));
        }
        if (out.size() + encoded->size() > room)
            break;
        out += *encoded;
        converted += static_cast<CFIndex>(detail::utf16_length(character));
        at = next;
    }
    if (buffer != nullptr)
        std::memcpy(buffer, out.data(), out.size());
    report_used(static_cast<CFIndex>(out.size()));
    return converted;
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

// Where stringToFind first stands in theString, in UTF-16 units; {kCFNotFound, 0}
// when nowhere. kCFCompareCaseInsensitive (ASCII letters), kCFCompareBackwards
// (the last place) and kCFCompareAnchored (only at the start, or the end when
// backwards) are honoured; the other options are ignored.
CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind, CFStringCompareFlags compareOptions)
{
    CFRange const not_found{kCFNotFound, 0};
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringFind");
    auto const* wanted = detail::cf_checked<cf_string>(stringToFind, "CFStringFind");
    if (string == nullptr || wanted == nullptr)
        return not_found;
    auto const units = detail::to_utf16(string->utf8());
    auto const find = detail::to_utf16(wanted->utf8());
    if (find.empty() || find.size() > units.size())
        return not_found;
    bool const folded = (compareOptions & kCFCompareCaseInsensitive) != 0;
    auto const matches_at = [&](std::size_t at) {
        for (std::size_t i = 0; i < find.size(); ++i)
            if (folded ? fold_ascii(units[at + i]) != fold_ascii(find[i]) : units[at + i] != find[i])
                return false;
        return true;
    };
    bool const backwards = (compareOptions & kCFCompareBackwards) != 0;
    std::size_t const last = units.size() - find.size();
    std::size_t const tries = (compareOptions & kCFCompareAnchored) != 0 ? 1 : last + 1;
    for (std::size_t n = 0; n < tries; ++n)
        if (std::size_t const at = backwards ? last - n : n; matches_at(at))
            return CFRange{static_cast<CFIndex>(at), static_cast<CFIndex>(find.size())};
    return not_found;
}

// The pieces between the separators, in order; a string without one is an array of
// itself alone (the empty string too).
CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef, CFStringRef theString, CFStringRef separatorString)
{
    auto const* string = detail::cf_checked<cf_string>(theString, "CFStringCreateArrayBySeparatingStrings");
    auto const* separator = detail::cf_checked<cf_string>(separatorString, "CFStringCreateArrayBySeparatingStrings");
    if (string == nullptr || separator == nullptr)
        return nullptr;
    auto const& text = string->utf8();
    auto const& between = separator->utf8();
    std::vector<CFStringRef> pieces;
    std::size_t from = 0;
    // UTF-8 never matches in the middle of a character, so bytes split where units would.
    for (std::size_t at; !between.empty() && (at = text.find(between, from)) != std::string::npos;
         from = at + between.size())
        pieces.push_back(detail::make_cf_string(text.substr(from, at - from)));
    pieces.push_back(detail::make_cf_string(text.substr(from)));
    auto const array = CFArrayCreate(kCFAllocatorDefault, reinterpret_cast<void const**>(pieces.data()),
                                     static_cast<CFIndex>(pieces.size()), &kCFTypeArrayCallBacks);
    for (auto const piece : pieces)
        CFRelease(piece);
    return array;
}

// As Apple's: leading white space, a sign and decimal digits; 0 when there are
// none, INT_MAX or -INT_MAX when the number does not fit.
SInt32 CFStringGetIntValue(CFStringRef str)
{
    auto const* string = detail::cf_checked<cf_string>(str, "CFStringGetIntValue");
    if (string == nullptr)
        return 0;
    auto const& text = string->utf8();
    std::size_t at = text.find_first_not_of(" \t\n\r\f\v");
    if (at == std::string::npos)
        return 0;
    bool const negative = text[at] == '-';
    if (text[at] == '-' || text[at] == '+')
        ++at;
    long long value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
    {
        value = value * 10 + (text[at] - '0');
        if (value > static_cast<long long>(INT_MAX) + 1)
            break;
    }
    if (value > INT_MAX)
        return negative ? -INT_MAX : INT_MAX;
    return static_cast<SInt32>(negative ? -value : value);
}

// A Mac's system encoding, which older code passes to CFStringGetCString.
CFStringEncoding CFStringGetSystemEncoding(void)
{
    return kCFStringEncodingMacRoman;
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
