// IOKit's object entry points: retain, release, class and conformance (also undeclared), equality, retain counts.
#include <IOKit/IOKitLib.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/kernel/handle_table.hpp"
#include "sim/detail/kernel/hex_text.hpp"
#include "sim/detail/kernel/io_name_text.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/registry/object_class.hpp"
#include "sim/detail/registry/property_from_cf.hpp"
#include "sim/detail/registry/property_to_cf.hpp"
#include "sim/detail/registry/registry_model.hpp"

#include <string>

using namespace plinth::sim::detail;

// The framework exports these without declaring them in its public headers; Apple's
// tools, and programs that copy their declarations, call them. So they are declared
// here, and nowhere a client of the Apple-named headers would see them.
extern "C" {
kern_return_t _IOObjectGetClass(io_object_t object, uint64_t options, io_name_t className);
CFStringRef _IOObjectCopyClass(io_object_t object, uint64_t options);
boolean_t _IOObjectConformsTo(io_object_t object, const io_name_t className, uint64_t options);
}

namespace {

// The option bit (kIOClassNameOverrideNone) that asks for the real class; without
// it the calls answer as the public ones, the override applied.
constexpr uint64_t class_name_override_none = 0x1;

class_name_override override_for(uint64_t options) noexcept
{
    return (options & class_name_override_none) ? class_name_override::ignore : class_name_override::apply;
}

// A Mac copies the answer into className, or the name out of it, and crashes on a
// NULL one; here it is reported and refused.
bool refuse_null_name(char const* className, char const* call)
{
    if (className)
        return false;
    report_misuse(std::string(call) + ": className is NULL");
    return true;
}

kern_return_t get_class(io_object_t object, class_name_override override, io_name_t className, char const* call)
{
    count_iokit_call();
    auto const found = lookup_object(object, call);
    if (!found)
        return found.error;
    if (refuse_null_name(className, call))
        return kIOReturnBadArgument;
    copy_io_name(reported_class(*found.object, override), className);
    return KERN_SUCCESS;
}

CFStringRef copy_class(io_object_t object, class_name_override override, char const* call)
{
    count_iokit_call();
    auto const found = lookup_object(object, call);
    return found ? make_cf_string(reported_class(*found.object, override)) : nullptr;
}

boolean_t object_conforms_to(io_object_t object, char const* className, class_name_override override, char const* call)
{
    count_iokit_call();
    auto const found = lookup_object(object, call);
    if (!found || refuse_null_name(className, call))
        return false;
    return conforms_to(*found.object, className, override);
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
    return get_class(object, class_name_override::apply, className, "IOObjectGetClass");
}

kern_return_t _IOObjectGetClass(io_object_t object, uint64_t options, io_name_t className)
{
    return get_class(object, override_for(options), className, "_IOObjectGetClass");
}

CFStringRef IOObjectCopyClass(io_object_t object)
{
    return copy_class(object, class_name_override::apply, "IOObjectCopyClass");
}

CFStringRef _IOObjectCopyClass(io_object_t object, uint64_t options)
{
    return copy_class(object, override_for(options), "_IOObjectCopyClass");
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
    return object_conforms_to(object, className, class_name_override::apply, "IOObjectConformsTo");
}

boolean_t _IOObjectConformsTo(io_object_t object, const io_name_t className, uint64_t options)
{
    return object_conforms_to(object, className, override_for(options), "_IOObjectConformsTo");
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
