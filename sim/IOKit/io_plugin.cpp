// IOKit's plug-in entry points: IOCreatePlugInInterfaceForService and IODestroyPlugInInterface.
#include <IOKit/IOCFPlugIn.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"

#include <string>

using namespace plinth::sim::detail;

namespace {

} // namespace

extern "C" {

kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef pluginType, CFUUIDRef interfaceType,
                                                IOCFPlugInInterface*** theInterface, SInt32* theScore)
{
    count_iokit_call();
    char const* const call = "IOCreatePlugInInterfaceForService";
    if (refuse_null(theInterface, call, "theInterface") || refuse_null(theScore, call, "theScore"))
        return kIOReturnBadArgument;
    if (!cf_checked_object(pluginType, call, CFUUIDGetTypeID()) ||
        !cf_checked_object(interfaceType, call, CFUUIDGetTypeID()))
        return kIOReturnBadArgument;
    // On a Mac the call reads the plug-in types the service lists under
    // "IOCFPlugInTypes", loads the bundle the type asked for names, and asks its
    // factories for an instance. A type the service does not list, or one whose
    // bundle offers no factory for it, ends the call with kIOReturnUnsupported and
    // the out-pointers untouched. The simulated machine has no plug-in bundles to
    // load, so every service answers as one whose plug-in type is unknown. A null,
    // dead or wrong-kind handle reads as a service listing no types (the property
    // read gives NULL), so it gets the same answer; the latter two are reported.
    (void)lookup_entry(service, call);
    return kIOReturnUnsupported;
}

kern_return_t IODestroyPlugInInterface(IOCFPlugInInterface** interface)
{
    count_iokit_call();
    // The interface ends with its own Release, whoever made it.
    if (refuse_null(interface, "IODestroyPlugInInterface", "interface") ||
        refuse_null(*interface, "IODestroyPlugInInterface", "*interface"))
        return kIOReturnBadArgument;
    (*interface)->Release(interface);
    return kIOReturnSuccess;
}

} // extern "C"
