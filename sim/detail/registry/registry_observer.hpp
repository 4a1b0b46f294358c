// What the registry tells of entries that join or leave it.
#pragma once

#include <memory>

namespace plinth::sim::detail {

class registry_entry;

// Told about entries that join or leave the registry, after the registry's lock is
// released, on the thread that changed the registry. Matching and termination
// notifications hang here.
class registry_observer
{
public:
    virtual ~registry_observer() = default;

    virtual void entry_published(std::shared_ptr<registry_entry> const& entry) = 0;
    virtual void entry_terminated(std::shared_ptr<registry_entry> const& entry) = 0;
};

} // namespace plinth::sim::detail
