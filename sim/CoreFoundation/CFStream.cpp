// CFStream's C entry points: file and memory streams, their status and errors.
#include <CoreFoundation/CFStream.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_read_stream.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_url.hpp"
#include "sim/detail/cf/cf_write_stream.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"

#include <optional>
#include <span>
#include <string>

namespace detail = plinth::sim::detail;
using detail::cf_read_stream;
using detail::cf_write_stream;

namespace {

// The absolute path a file URL names; nothing, without a report, for a URL of
// another scheme, for which no file stream is made.
std::optional<std::string> path_of(CFURLRef url, char const* function)
{
    auto const* object = detail::cf_checked<detail::cf_url>(url, function);
    return object == nullptr ? std::nullopt : object->file_system_path(true);
}

// A buffer and its length, as the caller gave them: NULL is allowed only for no bytes.
bool valid_buffer(void const* buffer, CFIndex length, char const* function)
{
    if (length >= 0 && (buffer != nullptr || length == 0))
        return true;
    detail::report_misuse(std::string(function) + ": NULL buffer or negative length");
    return false;
}

CFStreamError no_stream_error()
{
    return {0, 0};
}

} // namespace

extern "C" {

const CFStreamPropertyKey kCFStreamPropertyDataWritten = CFSTR("kCFStreamPropertyDataWritten");

CFTypeID CFReadStreamGetTypeID(void)
{
    return cf_read_stream::class_type_id();
}

CFTypeID CFWriteStreamGetTypeID(void)
{
    return cf_write_stream::class_type_id();
}

CFWriteStreamRef CFWriteStreamCreateWithAllocatedBuffers(CFAllocatorRef, CFAllocatorRef)
{
    return detail::cf_ref<CFWriteStreamRef>(detail::make_cf_object<cf_write_stream>(std::nullopt));
}

CFReadStreamRef CFReadStreamCreateWithFile(CFAllocatorRef, CFURLRef fileURL)
{
    auto path = path_of(fileURL, "CFReadStreamCreateWithFile");
    return path ? detail::cf_ref<CFReadStreamRef>(detail::make_cf_object<cf_read_stream>(std::move(*path))) : nullptr;
}

CFWriteStreamRef CFWriteStreamCreateWithFile(CFAllocatorRef, CFURLRef fileURL)
{
    auto path = path_of(fileURL, "CFWriteStreamCreateWithFile");
    return path ? detail::cf_ref<CFWriteStreamRef>(detail::make_cf_object<cf_write_stream>(std::move(*path))) : nullptr;
}

CFStreamStatus CFReadStreamGetStatus(CFReadStreamRef stream)
{
    auto const* object = detail::cf_checked<cf_read_stream>(stream, "CFReadStreamGetStatus");
    return object == nullptr ? kCFStreamStatusError : object->state().status();
}

CFStreamStatus CFWriteStreamGetStatus(CFWriteStreamRef stream)
{
    auto const* object = detail::cf_checked<cf_write_stream>(stream, "CFWriteStreamGetStatus");
    return object == nullptr ? kCFStreamStatusError : object->state().status();
}

CFErrorRef CFReadStreamCopyError(CFReadStreamRef stream)
{
    auto const* object = detail::cf_checked<cf_read_stream>(stream, "CFReadStreamCopyError");
    return object == nullptr ? nullptr : object->state().copy_error();
}

CFErrorRef CFWriteStreamCopyError(CFWriteStreamRef stream)
{
    auto const* object = detail::cf_checked<cf_write_stream>(stream, "CFWriteStreamCopyError");
    return object == nullptr ? nullptr : object->state().copy_error();
}

CFStreamError CFReadStreamGetError(CFReadStreamRef stream)
{
    auto const* object = detail::cf_checked<cf_read_stream>(stream, "CFReadStreamGetError");
    return object == nullptr ? no_stream_error() : object->state().error();
}

CFStreamError CFWriteStreamGetError(CFWriteStreamRef stream)
{
    auto const* object = detail::cf_checked<cf_write_stream>(stream, "CFWriteStreamGetError");
    return object == nullptr ? no_stream_error() : object->state().error();
}

Boolean CFReadStreamOpen(CFReadStreamRef stream)
{
    auto* object = detail::cf_checked<cf_read_stream>(stream, "CFReadStreamOpen");
    return object != nullptr && object->open();
}

Boolean CFWriteStreamOpen(CFWriteStreamRef stream)
{
    auto* object = detail::cf_checked<cf_write_stream>(stream, "CFWriteStreamOpen");
    return object != nullptr && object->open();
}

void CFReadStreamClose(CFReadStreamRef stream)
{
    if (auto* object = detail::cf_checked<cf_read_stream>(stream, "CFReadStreamClose"))
        object->close();
}

void CFWriteStreamClose(CFWriteStreamRef stream)
{
    if (auto* object = detail::cf_checked<cf_write_stream>(stream, "CFWriteStreamClose"))
        object->close();
}

CFIndex CFReadStreamRead(CFReadStreamRef stream, UInt8* buffer, CFIndex bufferLength)
{
    auto* object = detail::cf_checked<cf_read_stream>(stream, "CFReadStreamRead");
    if (object == nullptr || !valid_buffer(buffer, bufferLength, "CFReadStreamRead"))
        return -1;
    return object->read(std::span<UInt8>(buffer, static_cast<std::size_t>(bufferLength)));
}

CFIndex CFWriteStreamWrite(CFWriteStreamRef stream, const UInt8* buffer, CFIndex bufferLength)
{
    auto* object = detail::cf_checked<cf_write_stream>(stream, "CFWriteStreamWrite");
    if (object == nullptr || !valid_buffer(buffer, bufferLength, "CFWriteStreamWrite"))
        return -1;
    return object->write(std::span<UInt8 const>(buffer, static_cast<std::size_t>(bufferLength)));
}

CFTypeRef CFWriteStreamCopyProperty(CFWriteStreamRef stream, CFStreamPropertyKey propertyName)
{
    auto const* object = detail::cf_checked<cf_write_stream>(stream, "CFWriteStreamCopyProperty");
    if (object == nullptr || propertyName == nullptr || !CFEqual(propertyName, kCFStreamPropertyDataWritten))
        return nullptr;
    auto const& memory = object->memory();
    if (!memory)
        return nullptr;
    return CFDataCreate(nullptr, memory->data(), static_cast<CFIndex>(memory->size()));
}

} // extern "C"
