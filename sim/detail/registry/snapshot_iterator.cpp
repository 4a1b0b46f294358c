// An iterator over entries collected when it was made.
#include "sim/detail/registry/snapshot_iterator.hpp"

#include "sim/detail/registry/registry_entry.hpp"

namespace plinth::sim::detail {

snapshot_iterator::snapshot_iterator(std::vector<std::shared_ptr<registry_entry>> entries)
    : entries_(std::move(entries))
{
}

std::shared_ptr<registry_entry> snapshot_iterator::next()
{
    std::lock_guard lock(mutex_);
    if (position_ >= entries_.size())
        return nullptr;
    return entries_[position_++];
}

void snapshot_iterator::reset()
{
    std::lock_guard lock(mutex_);
    position_ = 0;
}

bool snapshot_iterator::is_valid() const
{
    return true;
}

} // namespace plinth::sim::detail
