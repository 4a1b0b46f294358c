// IOKit's matching entry points: matching dictionaries and the services they select.
#include <IOKit/IOBSD.h>
#include <IOKit/IOKitLib.h>

#include "property/value.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/registry/property_to_cf.hpp"
#include "sim/detail/registry/service_matcher.hpp"
#include "sim/detail/registry/snapshot_iterator.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

using namespace plinth::sim::detail;

namespace {

CFMutableDictionaryRef one_string_dictionary(char const* key, char const* text)
{
    return text ? make_cf_dictionary(plinth::property::dictionary{{key, std::string(text)}}) : nullptr;
}

// The services a matching dictionary selects, in registry order; nothing for a
// value that is not a dictionary.
std::optional<std::vector<std::shared_ptr<registry_entry>>> matching_services(CFDictionaryRef matching)
{
    auto const matcher = matcher_from_cf(matching);
    if (!matcher)
        return std::nullopt;
    return services_matching(*matcher);
}

} // namespace

extern "C" {

CFMutableDictionaryRef IOServiceMatching(const char* name)
{
    count_iokit_call();
    return one_string_dictionary(kIOProviderClassKey, name);
}

CFMutableDictionaryRef IOServiceNameMatching(const char* name)
{
    count_iokit_call();
    return one_string_dictionary(kIONameMatchKey, name);
}

CFMutableDictionaryRef IOBSDNameMatching(mach_port_t mainPort, uint32_t options, const char* bsdName)
{
    (void)options;
    count_iokit_call();
    if (!accept_main_port(mainPort, "IOBSDNameMatching"))
        return nullptr;
    return one_string_dictionary(kIOBSDNameKey, bsdName);
}

CFMutableDictionaryRef IORegistryEntryIDMatching(uint64_t entryID)
{
    count_iokit_call();
    // A 64-bit number, so that the ID comes back as the SInt64 CFNumber IOKit makes.
    return make_cf_dictionary(plinth::property::dictionary{
        {kIORegistryEntryIDKey, plinth::property::number{static_cast<std::int64_t>(entryID), 64}}});
}

kern_return_t IOServiceGetMatchingServices(mach_port_t mainPort, CFDictionaryRef matching, io_iterator_t* existing)
{
    count_iokit_call();
    if (!matching)
        return kIOReturnBadArgument;
    // The call consumes one reference of the dictionary whatever it returns.
    auto const services = matching_services(matching);
    CFRelease(matching);
    if (!existing)
        return kIOReturnBadArgument;
    *existing = IO_OBJECT_NULL;
    if (!accept_main_port(mainPort, "IOServiceGetMatchingServices"))
        return MACH_SEND_INVALID_DEST;
    if (!services)
        return kIOReturnBadArgument;
    // No match gives success and no iterator.
    if (!services->empty())
        *existing = hand_out(std::make_shared<snapshot_iterator>(std::move(*services)));
    return KERN_SUCCESS;
}

io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching)
{
    count_iokit_call();
    if (!matching)
        return IO_OBJECT_NULL;
    auto const services = matching_services(matching);
    CFRelease(matching);
    if (!accept_main_port(mainPort, "IOServiceGetMatchingService") || !services || services->empty())
        return IO_OBJECT_NULL;
    return hand_out(services->front());
}

} // extern "C"
