// IOKit's main port: kIOMainPortDefault, IOMainPort and IOMasterPort.
#include <IOKit/IOKitLib.h>

#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"

// Every registry call takes port 0 as the default main port; IOMainPort hands out
// a name of its own that the calls accept as well.
extern "C" const mach_port_t kIOMainPortDefault = MACH_PORT_NULL;
extern "C" const mach_port_t kIOMasterPortDefault = MACH_PORT_NULL;

namespace {

kern_return_t get_main_port(mach_port_t* mainPort)
{
    plinth::sim::detail::count_iokit_call();
    if (!mainPort)
        return kIOReturnBadArgument;
    *mainPort = plinth::sim::detail::main_port_name;
    return KERN_SUCCESS;
}

} // namespace

extern "C" kern_return_t IOMainPort(mach_port_t, mach_port_t* mainPort)
{
    return get_main_port(mainPort);
}

extern "C" kern_return_t IOMasterPort(mach_port_t, mach_port_t* mainPort)
{
    return get_main_port(mainPort);
}
