// IOKit's iterator entry points: IOIteratorNext, reset and validity, registry iterators and their recursion.
#include <IOKit/IOKitLib.h>

#include "sim/detail/kernel/io_name_text.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/registry/registry_iterator.hpp"
#include "sim/detail/registry/registry_model.hpp"

#include <string>

using namespace plinth::sim::detail;

namespace {

// An unknown plane gives no iterator and no error, as the kernel's user client
// answers a null iterator with success.
kern_return_t create_registry_iterator(std::shared_ptr<registry_entry> root, const io_name_t plane,
                                       IOOptionBits options, io_iterator_t* iterator)
{
    auto const plane_name = std::string(plane_text(plane));
    auto const known =
        registry_model::instance().read([&](registry_model const& model) { return model.knows_plane(plane_name); });
    *iterator =
        known ? hand_out(std::make_shared<registry_iterator>(std::move(root), plane_name, options)) : IO_OBJECT_NULL;
    return KERN_SUCCESS;
}

} // namespace

extern "C" {

io_object_t IOIteratorNext(io_iterator_t iterator)
{
    count_iokit_call();
    auto const found = lookup_iterator(iterator, "IOIteratorNext");
    return found ? hand_out(found.object->next()) : IO_OBJECT_NULL;
}

void IOIteratorReset(io_iterator_t iterator)
{
    count_iokit_call();
    if (auto const found = lookup_iterator(iterator, "IOIteratorReset"))
        found.object->reset();
}

boolean_t IOIteratorIsValid(io_iterator_t iterator)
{
    count_iokit_call();
    auto const found = lookup_iterator(iterator, "IOIteratorIsValid");
    return found && found.object->is_valid();
}

kern_return_t IORegistryCreateIterator(mach_port_t mainPort, const io_name_t plane, IOOptionBits options,
                                       io_iterator_t* iterator)
{
    count_iokit_call();
    if (!iterator)
        return kIOReturnBadArgument;
    *iterator = IO_OBJECT_NULL;
    if (!accept_main_port(mainPort, "IORegistryCreateIterator"))
        return MACH_SEND_INVALID_DEST;
    auto root = registry_model::instance().read([](registry_model const& model) { return model.root(); });
    return create_registry_iterator(std::move(root), plane, options, iterator);
}

kern_return_t IORegistryEntryCreateIterator(io_registry_entry_t entry, const io_name_t plane, IOOptionBits options,
                                            io_iterator_t* iterator)
{
    count_iokit_call();
    if (!iterator)
        return kIOReturnBadArgument;
    *iterator = IO_OBJECT_NULL;
    auto found = lookup_entry(entry, "IORegistryEntryCreateIterator");
    if (!found)
        return found.error;
    return create_registry_iterator(std::move(found.object), plane, options, iterator);
}

kern_return_t IORegistryIteratorEnterEntry(io_iterator_t iterator)
{
    count_iokit_call();
    auto const found = lookup_iterator(iterator, "IORegistryIteratorEnterEntry");
    return found ? found.object->enter_entry() : found.error;
}

kern_return_t IORegistryIteratorExitEntry(io_iterator_t iterator)
{
    count_iokit_call();
    auto const found = lookup_iterator(iterator, "IORegistryIteratorExitEntry");
    return found ? found.object->exit_entry() : found.error;
}

} // extern "C"
