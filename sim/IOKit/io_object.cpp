// IOKit's object entry points: retain, release, class, conformance, equality, retain counts.
#include <IOKit/IOKitLib.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/kernel/handle_table.hpp"
#include "sim/detail/kernel/hex_text.hpp"
#include "sim/detail/kernel/io_name_text.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/registry/property_from_cf.hpp"
#include "sim/detail/registry/property_to_cf.hpp"
#include "sim/detail/registry/registry_model.hpp"

#include <string>

using namespace plinth::sim::detail;

namespace {

// Iterators that a task holds are IOUserIterator objects wrapping the kernel's own.
constexpr std::string_view iterator_class = "IOUserIterator";

// Hands the class that IOObjectGetClass reports to `use`; an entry's is read
// under the registry's lock, as an override property may name it.
template <typename Use>
auto with_class_of(kernel_object const& object, Use&& use)
{
    if (auto const* entry = dynamic_cast<registry_entry const*>(&object))
        return registry_model::instance().read(
            [&](registry_model const&) { return use(std::string_view(entry->visible_class_name())); });
    return use(iterator_class);
}

kern_return_t change_references(io_object_t object, char const* call,
                                kern_return_t (handle_table::*change)(io_object_t))
{
    count_reference_call();
    if (object == IO_OBJECT_NULL)
        return KERN_SUCCESS;
    auto const result = (handle_table::instance().*change)(object);
    if (result != KERN_SUCCESS)
        plinth::sim::detail::report_misuse(std::string(call) + ": handle " + hex_text(object) +
                                           " is not a live name (released or never issued)");
    return result;
}

} // namespace

extern "C" {

kern_return_t IOObjectRelease(io_object_t object)
{
    return change_references(object, "IOObjectRelease", &handle_table::release);
}

kern_return_t IOObjectRetain(io_object_t object)
{
    return change_references(object, "IOObjectRetain", &handle_table::retain);
}

kern_return_t IOObjectGetClass(io_object_t object, io_name_t className)
{
    count_iokit_call();
    auto const found = lookup_object(object, "IOObjectGetClass");
    if (!found)
        return found.error;
    if (!className)
        return kIOReturnBadArgument;
    with_class_of(*found.object, [&](std::string_view name) { copy_io_name(name, className); });
    return KERN_SUCCESS;
}

CFStringRef IOObjectCopyClass(io_object_t object)
{
    count_iokit_call();
    auto const found = lookup_object(object, "IOObjectCopyClass");
    return found ? with_class_of(*found.object, [](std::string_view name) { return make_cf_string(name); }) : nullptr;
}

CFStringRef IOObjectCopySuperclassForClass(CFStringRef classname)
{
    count_iokit_call();
    auto const name = string_from_cf(classname);
    if (!name)
        return nullptr;
    return registry_model::instance().read([&](registry_model const& model) -> CFStringRef {
        auto const superclass = model.classes().superclass_of(*name);
        return superclass ? make_cf_string(*superclass) : nullptr;
    });
}

CFStringRef IOObjectCopyBundleIdentifierForClass(CFStringRef classname)
{
    // The simulated machine loads no kernel extensions, so no class has a bundle.
    (void)classname;
    count_iokit_call();
    return nullptr;
}

boolean_t IOObjectConformsTo(io_object_t object, const io_name_t className)
{
    count_iokit_call();
    auto const found = lookup_object(object, "IOObjectConformsTo");
    if (!found || !className)
        return false;
    auto const wanted = plane_text(className);
    return registry_model::instance().read([&](registry_model const& model) {
        if (auto const* entry = dynamic_cast<registry_entry const*>(found.object.get()))
            return model.conforms(*entry, wanted);
        return model.classes().conforms(iterator_class, wanted, {});
    });
}

boolean_t IOObjectIsEqualTo(io_object_t object, io_object_t anObject)
{
    // One name per object in a task: equal objects have equal names.
    count_iokit_call();
    return object == anObject;
}

uint32_t IOObjectGetKernelRetainCount(io_object_t object)
{
    count_iokit_call();
    auto const found = lookup_object(object, "IOObjectGetKernelRetainCount");
    // Every holder of the object (the registry, handles, iterators) but this call.
    return found ? static_cast<uint32_t>(found.object.use_count() - 1) : 0;
}

uint32_t IOObjectGetRetainCount(io_object_t object)
{
    return IOObjectGetKernelRetainCount(object);
}

uint32_t IOObjectGetUserRetainCount(io_object_t object)
{
    count_iokit_call();
    auto const found = lookup_object(object, "IOObjectGetUserRetainCount");
    return found ? handle_table::instance().user_references(object) : 0;
}

} // extern "C"
