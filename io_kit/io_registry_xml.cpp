// io_registry_xml: the entries' properties with ioreg's own keys, nested, and written by CFPropertyListCreateData.
#include "io_kit/io_registry_xml.hpp"

#include "error/apple/io_return.hpp"
#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/io_registry_entry_properties.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <boost/system/errc.hpp>
#include <boost/system/system_error.hpp>

#include <cstdint>

namespace plinth::apple::io_kit {
namespace {

CF::AutoPointer string_of(std::string const& text)
{
    return CF::AutoPointer(CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

// One entry's dictionary, with `child` (when there is one) as its only child.
CF::AutoPointer entry_dictionary(io_registry_entry const& entry, char const* plane, CFTypeRef child)
{
    auto const properties = create_cf_properties(entry.view());
    CF::AutoPointer const copy(
        CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, static_cast<CFDictionaryRef>(properties.GetTypeRef())));
    auto* const dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(copy.GetTypeRef()));
    auto const set = [&](char const* key, CFTypeRef value) {
        CF::AutoPointer const name = string_of(key);
        CFDictionarySetValue(dictionary, name.GetTypeRef(), value);
    };
    set("IOObjectClass", string_of(entry.get_class()).GetTypeRef());
    set("IORegistryEntryName", string_of(entry.get_name_in_plane(plane)).GetTypeRef());
    auto const id = static_cast<std::int64_t>(entry.get_registry_entry_id());
    set("IORegistryEntryID",
        CF::AutoPointer(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &id)).GetTypeRef());
    // IOKit says kIOReturnNotFound for an entry that has no location: ioreg then
    // writes no key.
    try
    {
        set("IORegistryEntryLocation", string_of(entry.get_location_in_plane(plane)).GetTypeRef());
    }
    catch (boost::system::system_error const& e)
    {
        if (e.code() != make_error_code(kIOReturnNotFound))
            throw;
    }
    if (child != nullptr)
    {
        CFTypeRef children[] = {child};
        set("IORegistryEntryChildren",
            CF::AutoPointer(CFArrayCreate(kCFAllocatorDefault, children, 1, &kCFTypeArrayCallBacks)).GetTypeRef());
    }
    return copy;
}

} // namespace

std::string registry_xml(std::span<io_registry_entry const> chain, char const* plane)
{
    CF::AutoPointer nested;
    for (auto entry = chain.rbegin(); entry != chain.rend(); ++entry)
        nested = entry_dictionary(*entry, plane, nested.GetTypeRef());
    if (nested.GetTypeRef() == nullptr)
        return {};
    CF::AutoPointer const data(
        CFPropertyListCreateData(kCFAllocatorDefault, nested.GetTypeRef(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (data.GetTypeRef() == nullptr)
        throw boost::system::system_error(make_error_code(boost::system::errc::invalid_argument),
                                          "CFPropertyListCreateData");
    auto const* bytes = CFDataGetBytePtr(static_cast<CFDataRef>(data.GetTypeRef()));
    return std::string(reinterpret_cast<char const*>(bytes),
                       static_cast<std::size_t>(CFDataGetLength(static_cast<CFDataRef>(data.GetTypeRef()))));
}

} // namespace plinth::apple::io_kit
