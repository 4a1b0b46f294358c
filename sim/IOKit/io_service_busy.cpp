// IOKit's service state entry points: the busy count, waiting for quiet, and the undeclared state-and-time call.
#include <IOKit/IOKitLib.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/kernel/hex_text.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/registry/registry_model.hpp"

#include <cstdint>
#include <optional>
#include <string>

using namespace plinth::sim::detail;

// The framework exports this without declaring it in its public headers (ioreg
// calls it for its "busy N (T ms)"); programs that use it declare it themselves.
extern "C" kern_return_t IOServiceGetBusyStateAndTime(io_service_t service, uint64_t* state, uint32_t* busy_state,
                                                      uint64_t* accumulated_busy_time);

namespace {

// The kernel's IOService state bits, as IOServiceGetBusyStateAndTime reports them.
constexpr uint64_t inactive_state = 0x1;
constexpr uint64_t registered_state = 0x2;
constexpr uint64_t matched_state = 0x4;
constexpr uint64_t first_publish_state = 0x8;
constexpr uint64_t first_match_state = 0x10;

// What the kernel keeps about a service's progress. The simulated machine runs no
// registration, matching or termination in the background, so every service is
// quiet: busy 0, never busy for any time. (ioreg's text dumps print each entry's
// count at the time of the dump, but the loaders keep only names, classes, IDs and
// properties; a dump's services load quiet too.)
struct service_state
{
    uint64_t state = 0;
    uint32_t busy = 0;
    uint64_t busy_time = 0; // Mach absolute time units
};

// The state of the service behind a handle, or the error IOKit gives: a dead handle
// as every call does; the kernel refuses an object that is no IOService (an
// iterator, the root, an entry of another plane only) with kIOReturnBadArgument.
kern_return_t read_state(io_service_t service, char const* call, service_state& out)
{
    auto const found = lookup_entry(service, call);
    if (!found)
        return found.error;
    auto const state =
        registry_model::instance().read([&](registry_model const& model) -> std::optional<service_state> {
            if (!model.conforms_by_real_class(*found.object, "IOService"))
                return std::nullopt;
            // A service that has left the registry was terminated: inactive, and no
            // longer registered or matched.
            if (!found.object->registered())
                return service_state{inactive_state};
            return service_state{registered_state | matched_state | first_publish_state | first_match_state};
        });
    if (!state)
    {
        report_misuse(std::string(call) + ": handle " + hex_text(service) + " is not an IOService");
        return kIOReturnBadArgument;
    }
    out = *state;
    return KERN_SUCCESS;
}

} // namespace

extern "C" {

kern_return_t IOServiceGetBusyState(io_service_t service, uint32_t* busyState)
{
    count_iokit_call();
    service_state state;
    if (auto const error = read_state(service, "IOServiceGetBusyState", state); error != KERN_SUCCESS)
        return error;
    if (refuse_null(busyState, "IOServiceGetBusyState", "busyState"))
        return kIOReturnBadArgument;
    *busyState = state.busy;
    return KERN_SUCCESS;
}

kern_return_t IOServiceWaitQuiet(io_service_t service, mach_timespec_t* waitTime)
{
    // Every service is quiet already, so no wait, however long it may be (a NULL
    // waitTime waits for ever), ends in kIOReturnTimeout.
    (void)waitTime;
    count_iokit_call();
    service_state state;
    return read_state(service, "IOServiceWaitQuiet", state);
}

kern_return_t IOServiceGetBusyStateAndTime(io_service_t service, uint64_t* state, uint32_t* busy_state,
                                           uint64_t* accumulated_busy_time)
{
    count_iokit_call();
    char const* const call = "IOServiceGetBusyStateAndTime";
    service_state found;
    if (auto const error = read_state(service, call, found); error != KERN_SUCCESS)
        return error;
    if (refuse_null(state, call, "state") || refuse_null(busy_state, call, "busy_state") ||
        refuse_null(accumulated_busy_time, call, "accumulated_busy_time"))
        return kIOReturnBadArgument;
    *state = found.state;
    *busy_state = found.busy;
    *accumulated_busy_time = found.busy_time;
    return KERN_SUCCESS;
}

} // extern "C"
