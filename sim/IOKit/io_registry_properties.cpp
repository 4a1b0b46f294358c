// IOKit's property entry points: reading one property, all of them, or searching the plane for one.
#include <IOKit/IOKitLib.h>

#include "sim/control/value.hpp"
#include "sim/detail/kernel/io_name_text.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/registry/plane_walk.hpp"
#include "sim/detail/registry/property_from_cf.hpp"
#include "sim/detail/registry/property_to_cf.hpp"
#include "sim/detail/registry/registry_model.hpp"

using namespace plinth::sim::detail;
using plinth::sim::value;

namespace {

// A property of the entry, or of the first entry below (or above) it in the plane
// that has it, depth first in attach order.
value const* search_property(registry_entry const& start, std::string_view plane, std::string const& key,
                             IOOptionBits options)
{
    if (auto const* own = start.find_property(key))
        return own;
    if ((options & kIORegistryIterateRecursively) == 0)
        return nullptr;
    auto const which = (options & kIORegistryIterateParents) != 0 ? link_direction::parents : link_direction::children;
    value const* found = nullptr;
    find_linked(start, plane, which, [&](registry_entry const& entry) {
        found = entry.find_property(key);
        return found != nullptr;
    });
    return found;
}

// The CF value of a property, made under the registry's lock: making it runs no
// caller code (only the CF types' own callbacks), so nothing can re-enter the
// registry, and it spares a deep copy of the property on every read.
CFTypeRef cf_property_or_null(value const* property)
{
    return property ? make_cf_property(*property) : nullptr;
}

} // namespace

extern "C" {

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits options)
{
    (void)allocator;
    (void)options;
    count_iokit_call();
    auto const found = lookup_entry(entry, "IORegistryEntryCreateCFProperty");
    auto const name = string_from_cf(key);
    if (!found || !name)
        return nullptr;
    return registry_model::instance().read(
        [&](registry_model const&) { return cf_property_or_null(found.object->find_property(*name)); });
}

kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t entry, CFMutableDictionaryRef* properties,
                                                CFAllocatorRef allocator, IOOptionBits options)
{
    (void)allocator;
    (void)options;
    count_iokit_call();
    if (!properties)
        return kIOReturnBadArgument;
    *properties = nullptr;
    auto const found = lookup_entry(entry, "IORegistryEntryCreateCFProperties");
    if (!found)
        return found.error;
    *properties = registry_model::instance().read(
        [&](registry_model const&) { return make_cf_dictionary(found.object->properties()); });
    return KERN_SUCCESS;
}

CFTypeRef IORegistryEntrySearchCFProperty(io_registry_entry_t entry, const io_name_t plane, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options)
{
    (void)allocator;
    count_iokit_call();
    auto const found = lookup_entry(entry, "IORegistryEntrySearchCFProperty");
    auto const name = string_from_cf(key);
    if (!found || !name)
        return nullptr;
    auto const plane_name = plane_text(plane);
    return registry_model::instance().read([&](registry_model const&) {
        return cf_property_or_null(search_property(*found.object, plane_name, *name, options));
    });
}

} // extern "C"
