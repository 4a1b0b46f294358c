// Looking handles up for the IOKit entry points, with the errors and misuse reports IOKit calls give.
#include "sim/detail/kernel/object_lookup.hpp"

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/kernel/handle_table.hpp"
#include "sim/detail/kernel/hex_text.hpp"

#include <IOKit/IOReturn.h>

namespace plinth::sim::detail {

namespace {

template <typename Object>
lookup_result<Object> lookup_as(io_object_t handle, char const* call, char const* kind)
{
    auto found = lookup_object(handle, call);
    if (!found)
        return {nullptr, found.error};
    auto object = std::dynamic_pointer_cast<Object>(found.object);
    if (!object)
    {
        report_misuse(std::string(call) + ": handle " + hex_text(handle) + " is not " + kind);
        return {nullptr, kIOReturnBadArgument};
    }
    return {std::move(object), KERN_SUCCESS};
}

} // namespace

lookup_result<kernel_object> lookup_object(io_object_t handle, char const* call)
{
    if (handle == IO_OBJECT_NULL)
        return {nullptr, MACH_SEND_INVALID_DEST};
    auto object = handle_table::instance().find(handle);
    if (!object)
    {
        report_misuse(std::string(call) + ": handle " + hex_text(handle) +
                      " is not a live name (released or never issued)");
        return {nullptr, MACH_SEND_INVALID_DEST};
    }
    return {std::move(object), KERN_SUCCESS};
}

lookup_result<registry_entry> lookup_entry(io_object_t handle, char const* call)
{
    return lookup_as<registry_entry>(handle, call, "a registry entry");
}

lookup_result<iterator_object> lookup_iterator(io_object_t handle, char const* call)
{
    return lookup_as<iterator_object>(handle, call, "an iterator");
}

bool accept_main_port(mach_port_t port, char const* call)
{
    if (port == MACH_PORT_NULL || port == main_port_name)
        return true;
    report_misuse(std::string(call) + ": port " + hex_text(port) + " is not the I/O Kit main port");
    return false;
}

io_object_t hand_out(std::shared_ptr<kernel_object> object)
{
    return object ? handle_table::instance().add_reference(std::move(object)) : IO_OBJECT_NULL;
}

} // namespace plinth::sim::detail
