// IOKit's registry entry entry points: the root, paths, names, locations, IDs, children and parents.
#include <IOKit/IOKitLib.h>

#include "sim/detail/kernel/io_name_text.hpp"
#include "sim/detail/kernel/iokit_call_counter.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/registry/property_from_cf.hpp"
#include "sim/detail/registry/property_to_cf.hpp"
#include "sim/detail/registry/registry_model.hpp"
#include "sim/detail/registry/registry_path.hpp"
#include "sim/detail/registry/snapshot_iterator.hpp"

#include <string>
#include <vector>

using namespace plinth::sim::detail;

namespace {

io_registry_entry_t entry_from_path(mach_port_t mainPort, char const* path, char const* call)
{
    if (!accept_main_port(mainPort, call) || !path)
        return IO_OBJECT_NULL;
    std::string_view const text(path);
    return hand_out(
        registry_model::instance().read([&](registry_model const& model) -> std::shared_ptr<registry_entry> {
            auto* const found = entry_at_path(model, text);
            return found ? found->shared() : nullptr;
        }));
}

// The kernel copies an entry's children or parents into the iterator it returns;
// an unknown plane gives no iterator and success.
kern_return_t linked_iterator(io_registry_entry_t entry, const io_name_t plane, io_iterator_t* iterator,
                              link_direction which, char const* call)
{
    count_iokit_call();
    if (!iterator)
        return kIOReturnBadArgument;
    *iterator = IO_OBJECT_NULL;
    auto const found = lookup_entry(entry, call);
    if (!found)
        return found.error;
    auto const plane_name = plane_text(plane);
    auto snapshot = registry_model::instance().read([&](registry_model const& model) {
        std::optional<std::vector<std::shared_ptr<registry_entry>>> linked;
        if (!model.knows_plane(plane_name))
            return linked;
        linked.emplace();
        for (auto* other : found.object->linked(plane_name, which))
            linked->push_back(other->shared());
        return linked;
    });
    if (snapshot)
        *iterator = hand_out(std::make_shared<snapshot_iterator>(std::move(*snapshot)));
    return KERN_SUCCESS;
}

// The first item of the children or parents iterator; none is kIOReturnNoDevice.
kern_return_t first_linked(io_registry_entry_t entry, const io_name_t plane, io_registry_entry_t* linked,
                           link_direction which, char const* call)
{
    count_iokit_call();
    if (!linked)
        return kIOReturnBadArgument;
    *linked = IO_OBJECT_NULL;
    auto const found = lookup_entry(entry, call);
    if (!found)
        return found.error;
    auto const plane_name = plane_text(plane);
    auto first = registry_model::instance().read([&](registry_model const&) -> std::shared_ptr<registry_entry> {
        auto const items = found.object->linked(plane_name, which);
        return items.empty() ? nullptr : items.front()->shared();
    });
    if (!first)
        return kIOReturnNoDevice;
    *linked = hand_out(std::move(first));
    return KERN_SUCCESS;
}

std::optional<std::string> path_in_plane(registry_entry const& entry, const io_name_t plane)
{
    auto const plane_name = plane_text(plane);
    return registry_model::instance().read([&](registry_model const& model) -> std::optional<std::string> {
        if (plane_name.empty() || !model.knows_plane(plane_name))
            return std::nullopt;
        return path_of(model, entry, plane_name);
    });
}

} // namespace

extern "C" {

io_registry_entry_t IORegistryGetRootEntry(mach_port_t mainPort)
{
    count_iokit_call();
    if (!accept_main_port(mainPort, "IORegistryGetRootEntry"))
        return IO_OBJECT_NULL;
    return hand_out(registry_model::instance().read([](registry_model const& model) { return model.root(); }));
}

io_registry_entry_t IORegistryEntryFromPath(mach_port_t mainPort, const io_string_t path)
{
    count_iokit_call();
    return entry_from_path(mainPort, path, "IORegistryEntryFromPath");
}

io_registry_entry_t IORegistryEntryCopyFromPath(mach_port_t mainPort, CFStringRef path)
{
    count_iokit_call();
    auto const text = string_from_cf(path);
    return text ? entry_from_path(mainPort, text->c_str(), "IORegistryEntryCopyFromPath") : IO_OBJECT_NULL;
}

kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name)
{
    count_iokit_call();
    auto const found = lookup_entry(entry, "IORegistryEntryGetName");
    if (!found)
        return found.error;
    if (!name)
        return kIOReturnBadArgument;
    registry_model::instance().read([&](registry_model const&) { copy_io_name(found.object->name(), name); });
    return KERN_SUCCESS;
}

kern_return_t IORegistryEntryGetNameInPlane(io_registry_entry_t entry, const io_name_t plane, io_name_t name)
{
    count_iokit_call();
    auto const found = lookup_entry(entry, "IORegistryEntryGetNameInPlane");
    if (!found)
        return found.error;
    if (!name)
        return kIOReturnBadArgument;
    auto const plane_name = plane_text(plane);
    registry_model::instance().read(
        [&](registry_model const&) { copy_io_name(found.object->name_in_plane(plane_name), name); });
    return KERN_SUCCESS;
}

kern_return_t IORegistryEntryGetLocationInPlane(io_registry_entry_t entry, const io_name_t plane, io_name_t location)
{
    count_iokit_call();
    auto const found = lookup_entry(entry, "IORegistryEntryGetLocationInPlane");
    if (!found)
        return found.error;
    if (!location)
        return kIOReturnBadArgument;
    auto const plane_name = plane_text(plane);
    return registry_model::instance().read([&](registry_model const&) {
        auto const& text = found.object->location_in_plane(plane_name);
        if (!text)
            return kIOReturnNotFound;
        copy_io_name(*text, location);
        return kIOReturnSuccess;
    });
}

kern_return_t IORegistryEntryGetPath(io_registry_entry_t entry, const io_name_t plane, io_string_t path)
{
    count_iokit_call();
    auto const found = lookup_entry(entry, "IORegistryEntryGetPath");
    if (!found)
        return found.error;
    if (!path)
        return kIOReturnBadArgument;
    auto const text = path_in_plane(*found.object, plane);
    return text && copy_io_string(*text, path) ? KERN_SUCCESS : kIOReturnBadArgument;
}

CFStringRef IORegistryEntryCopyPath(io_registry_entry_t entry, const io_name_t plane)
{
    count_iokit_call();
    auto const found = lookup_entry(entry, "IORegistryEntryCopyPath");
    if (!found)
        return nullptr;
    auto const text = path_in_plane(*found.object, plane);
    return text ? make_cf_string(*text) : nullptr;
}

kern_return_t IORegistryEntryGetRegistryEntryID(io_registry_entry_t entry, uint64_t* entryID)
{
    count_iokit_call();
    if (!entryID)
        return kIOReturnBadArgument;
    *entryID = 0;
    auto const found = lookup_entry(entry, "IORegistryEntryGetRegistryEntryID");
    if (!found)
        return found.error;
    *entryID = found.object->id();
    return KERN_SUCCESS;
}

kern_return_t IORegistryEntryGetChildIterator(io_registry_entry_t entry, const io_name_t plane, io_iterator_t* iterator)
{
    return linked_iterator(entry, plane, iterator, link_direction::children, "IORegistryEntryGetChildIterator");
}

kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, const io_name_t plane, io_registry_entry_t* child)
{
    return first_linked(entry, plane, child, link_direction::children, "IORegistryEntryGetChildEntry");
}

kern_return_t IORegistryEntryGetParentIterator(io_registry_entry_t entry, const io_name_t plane,
                                               io_iterator_t* iterator)
{
    return linked_iterator(entry, plane, iterator, link_direction::parents, "IORegistryEntryGetParentIterator");
}

kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const io_name_t plane,
                                            io_registry_entry_t* parent)
{
    return first_linked(entry, plane, parent, link_direction::parents, "IORegistryEntryGetParentEntry");
}

boolean_t IORegistryEntryInPlane(io_registry_entry_t entry, const io_name_t plane)
{
    count_iokit_call();
    auto const found = lookup_entry(entry, "IORegistryEntryInPlane");
    if (!found)
        return false;
    auto const plane_name = plane_text(plane);
    return registry_model::instance().read([&](registry_model const& model) {
        // The kernel finds no plane by an unregistered name and then asks whether the
        // entry is attached in any plane at all.
        return model.knows_plane(plane_name) ? found.object->attached_in(plane_name)
                                             : found.object->attached_anywhere();
    });
}

} // extern "C"
