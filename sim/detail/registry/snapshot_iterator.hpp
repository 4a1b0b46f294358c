// An iterator over entries collected when it was made (children, parents, matching services).
#pragma once

#include "sim/detail/kernel/iterator_object.hpp"

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace plinth::sim::detail {

// An iterator over entries collected when it was made: children or parents of an
// entry, or the services that matched a dictionary. The kernel copies these
// collections too, so the iterator stays valid whatever happens to the registry.
class snapshot_iterator final : public iterator_object
{
public:
    explicit snapshot_iterator(std::vector<std::shared_ptr<registry_entry>> entries);

    std::shared_ptr<registry_entry> next() override;
    void reset() override;
    bool is_valid() const override;

private:
    std::mutex mutex_;
    std::vector<std::shared_ptr<registry_entry>> const entries_;
    std::size_t position_ = 0;
};

} // namespace plinth::sim::detail
