// The control interface to the registry, over the registry model and the loaders.
#include "sim/control/registry.hpp"

#include "sim/control/loaders.hpp"
#include "sim/detail/registry/bundled_registry.hpp"
#include "sim/detail/registry/registry_model.hpp"

#include <vector>

namespace plinth::sim {

namespace {

detail::registry_model& model()
{
    return detail::registry_model::instance();
}

} // namespace

void reset_registry()
{
    model().reset();
}

entry_id add_entry(entry_spec const& new_entry, entry_id parent, std::string const& plane)
{
    return model().add_entry(new_entry, parent, plane);
}

void attach(entry_id child, entry_id parent, std::string const& plane,
            std::optional<std::string> const& location_in_plane)
{
    model().attach(child, parent, plane, location_in_plane);
}

void set_property(entry_id id, std::string const& key, value v)
{
    model().set_property(id, key, std::move(v));
}

void remove_property(entry_id id, std::string const& key)
{
    model().remove_property(id, key);
}

void remove_entry(entry_id id)
{
    model().remove_entry(id);
}

void add_class(std::string const& class_name, std::string const& superclass)
{
    model().add_class(class_name, superclass);
}

void merge(dump const& d)
{
    model().merge(d);
}

std::vector<dump> bundled_registry_dumps()
{
    std::vector<dump> dumps;
    for (auto const& bundled : detail::bundled_registry_dumps())
        dumps.push_back(read_ioreg_xml(bundled.text, bundled.plane));
    return dumps;
}

void load_bundled_registry()
{
    // Every dump is read before the registry changes, so that a bad one leaves the
    // registry as it was.
    auto const dumps = bundled_registry_dumps();
    model().reset();
    for (auto const& d : dumps)
        model().merge(d);
}

bool contains(entry_id id)
{
    return model().contains(id);
}

std::size_t entry_count()
{
    return model().entry_count();
}

} // namespace plinth::sim
