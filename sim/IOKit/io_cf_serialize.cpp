// IOKit's serialization entry points: IOCFSerialize, IOCFUnserialize and IOCFUnserializeWithSize.
#include <IOKit/IOCFSerialize.h>
#include <IOKit/IOCFUnserialize.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/serialize/iokit_xml_reader.hpp"
#include "sim/detail/serialize/iokit_xml_writer.hpp"

#include <fmt/format.h>

#include <cstring>
#include <string>
#include <string_view>

using namespace plinth::sim::detail;

namespace {

// The kernel's binary serialization starts with this 32-bit word (little-endian).
constexpr char binary_signature[] = {'\xd3', '\0', '\0', '\0'};

// The reason as a CF string. It may quote the text, which need not be UTF-8: then
// every byte outside ASCII is shown as \xNN, so that a reason is never lost.
CFStringRef reason_text(std::string const& reason)
{
    if (CFStringRef const text = CFStringCreateWithCString(nullptr, reason.c_str(), kCFStringEncodingUTF8))
        return text;
    std::string escaped;
    for (unsigned char const c : reason)
        escaped += c < 0x80 ? std::string(1, static_cast<char>(c)) : fmt::format("\\x{:02X}", c);
    return CFStringCreateWithCString(nullptr, escaped.c_str(), kCFStringEncodingASCII);
}

CFTypeRef unserialize(std::string_view text, CFStringRef* errorString)
{
    std::string error;
    CFTypeRef const value = text.starts_with(std::string_view(binary_signature, sizeof binary_signature))
                                ? nullptr
                                : read_iokit_xml(text, error);
    if (!value && error.empty())
        error = "binary serialization is not read here: only IOKit's XML form";
    if (errorString)
        *errorString = value ? nullptr : reason_text(error);
    return value;
}

// A Mac reads the text through the pointer and crashes on NULL; here the call is
// refused, reported, and says why in *errorString.
bool refuse_null_buffer(char const* buffer, char const* call, CFStringRef* errorString)
{
    if (buffer)
        return false;
    report_misuse(std::string(call) + ": buffer is NULL");
    if (errorString)
        *errorString = CFStringCreateWithCString(nullptr, "no text: the buffer is NULL", kCFStringEncodingUTF8);
    return true;
}

} // namespace

extern "C" {

CFDataRef IOCFSerialize(CFTypeRef object, CFOptionFlags options)
{
    if (!cf_checked_object(object, "IOCFSerialize"))
        return nullptr;
    if (options & kIOCFSerializeToBinary)
        return nullptr;
    auto const text = write_iokit_xml(object);
    if (!text)
        return nullptr;
    // With its NUL: the kernel's reader takes the data as a C string.
    return CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>(text->c_str()), static_cast<CFIndex>(text->size() + 1));
}

CFTypeRef IOCFUnserialize(char const* buffer, CFAllocatorRef allocator, CFOptionFlags options, CFStringRef* errorString)
{
    (void)allocator;
    (void)options;
    if (refuse_null_buffer(buffer, "IOCFUnserialize", errorString))
        return nullptr;
    return unserialize(std::string_view(buffer), errorString);
}

CFTypeRef IOCFUnserializeWithSize(char const* buffer, size_t bufferSize, CFAllocatorRef allocator,
                                  CFOptionFlags options, CFStringRef* errorString)
{
    (void)allocator;
    (void)options;
    if (refuse_null_buffer(buffer, "IOCFUnserializeWithSize", errorString))
        return nullptr;
    auto const* const end = static_cast<char const*>(std::memchr(buffer, '\0', bufferSize));
    auto const length = end ? static_cast<std::size_t>(end - buffer) : bufferSize;
    // The binary form holds NULs of its own: it is recognised by its first word.
    if (bufferSize >= sizeof binary_signature && std::memcmp(buffer, binary_signature, sizeof binary_signature) == 0)
        return unserialize(std::string_view(buffer, sizeof binary_signature), errorString);
    return unserialize(std::string_view(buffer, length), errorString);
}

} // extern "C"
