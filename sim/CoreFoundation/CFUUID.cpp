// CFUUID's C entry points: making UUIDs from randomness, bytes and text, and reading them back.
#include <CoreFoundation/CFUUID.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_uuid.hpp"
#include "sim/detail/cf/cf_uuid_text.hpp"

namespace detail = plinth::sim::detail;
using detail::cf_uuid;
using detail::uuid_bytes;

namespace {

// Each call makes a new object. A Mac may hand back an existing UUID with equal
// bytes instead, which callers cannot tell apart through CFEqual.
CFUUIDRef create_uuid(uuid_bytes const& bytes)
{
    return detail::cf_ref<CFUUIDRef>(detail::make_cf_object<cf_uuid>(bytes));
}

uuid_bytes bytes_of(CFUUIDBytes const& bytes)
{
    return {bytes.byte0,  bytes.byte1,  bytes.byte2,  bytes.byte3, bytes.byte4,  bytes.byte5,
            bytes.byte6,  bytes.byte7,  bytes.byte8,  bytes.byte9, bytes.byte10, bytes.byte11,
            bytes.byte12, bytes.byte13, bytes.byte14, bytes.byte15};
}

} // namespace

extern "C" {

CFTypeID CFUUIDGetTypeID(void)
{
    return cf_uuid::class_type_id();
}

CFUUIDRef CFUUIDCreate(CFAllocatorRef)
{
    return create_uuid(detail::random_uuid_bytes());
}

CFUUIDRef CFUUIDCreateWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3, UInt8 byte4,
                                UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9, UInt8 byte10,
                                UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14, UInt8 byte15)
{
    return create_uuid({byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8, byte9, byte10, byte11, byte12,
                        byte13, byte14, byte15});
}

// Only the canonical 8-4-4-4-12 form is read, in either case; text of any other
// shape gives NULL rather than a best guess at what was meant.
CFUUIDRef CFUUIDCreateFromString(CFAllocatorRef, CFStringRef uuidStr)
{
    auto const* text = detail::cf_checked<detail::cf_string>(uuidStr, "CFUUIDCreateFromString");
    if (text == nullptr)
        return nullptr;
    auto const bytes = detail::parse_uuid_text(text->utf8());
    return bytes ? create_uuid(*bytes) : nullptr;
}

CFStringRef CFUUIDCreateString(CFAllocatorRef, CFUUIDRef uuid)
{
    auto const* object = detail::cf_checked<cf_uuid>(uuid, "CFUUIDCreateString");
    return object == nullptr ? nullptr : detail::make_cf_string(detail::uuid_text(object->bytes()));
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                         UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15)
{
    auto const& constant = detail::constant_uuid({byte0, byte1, byte2, byte3, byte4, byte5, byte6, byte7, byte8, byte9,
                                                  byte10, byte11, byte12, byte13, byte14, byte15});
    return detail::cf_ref<CFUUIDRef>(&constant);
}

// All zeros for an argument that is no UUID.
CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid)
{
    CFUUIDBytes result{};
    auto const* object = detail::cf_checked<cf_uuid>(uuid, "CFUUIDGetUUIDBytes");
    if (object == nullptr)
        return result;
    auto const& b = object->bytes();
    result = {b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]};
    return result;
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef, CFUUIDBytes bytes)
{
    return create_uuid(bytes_of(bytes));
}

} // extern "C"
