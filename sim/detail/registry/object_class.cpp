// The class IOKit reports for an object a task holds, with or without an entry's class-name override.
#include "sim/detail/registry/object_class.hpp"

#include "sim/detail/registry/registry_model.hpp"

namespace plinth::sim::detail {

namespace {

// Iterators that a task holds are IOUserIterator objects wrapping the kernel's own.
constexpr std::string_view iterator_class = "IOUserIterator";

} // namespace

std::string reported_class(kernel_object const& object, class_name_override override)
{
    auto const* entry = dynamic_cast<registry_entry const*>(&object);
    if (!entry)
        return std::string(iterator_class);
    return registry_model::instance().read([&](registry_model const&) {
        return override == class_name_override::apply ? entry->visible_class_name() : entry->class_name();
    });
}

bool conforms_to(kernel_object const& object, std::string_view wanted, class_name_override override)
{
    return registry_model::instance().read([&](registry_model const& model) {
        auto const* entry = dynamic_cast<registry_entry const*>(&object);
        if (!entry)
            return model.classes().conforms(iterator_class, wanted, {});
        return override == class_name_override::apply ? model.conforms(*entry, wanted)
                                                      : model.conforms_by_real_class(*entry, wanted);
    });
}

} // namespace plinth::sim::detail
