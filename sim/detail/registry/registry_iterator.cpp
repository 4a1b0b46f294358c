// The registry iterator: a walk of a plane, recursive or not, that notices changes.
#include "sim/detail/registry/registry_iterator.hpp"

#include "sim/detail/registry/registry_model.hpp"

namespace plinth::sim::detail {

registry_iterator::registry_iterator(std::shared_ptr<registry_entry> root, std::string plane, IOOptionBits options)
    : root_(std::move(root)), plane_(std::move(plane)), options_(options)
{
    restart();
}

bool registry_iterator::recursive() const noexcept
{
    return (options_ & kIORegistryIterateRecursively) != 0;
}

registry_iterator::level registry_iterator::make_level(registry_entry const* from) const
{
    level made;
    if (!from)
        return made;
    auto const which = (options_ & kIORegistryIterateParents) != 0 ? link_direction::parents : link_direction::children;
    registry_model::instance().read([&](registry_model const&) {
        auto const linked = from->linked(plane_, which);
        made.entries.reserve(linked.size());
        for (auto* entry : linked)
            made.entries.push_back(entry->shared());
    });
    return made;
}

void registry_iterator::descend()
{
    enter_current_ = false;
    auto const current = levels_.back().current;
    levels_.push_back(make_level(current.get()));
}

void registry_iterator::restart()
{
    levels_.clear();
    done_.clear();
    enter_current_ = false;
    generation_ = registry_model::instance().read([](registry_model const& model) { return model.generation(); });
    levels_.push_back(make_level(root_.get()));
}

std::shared_ptr<registry_entry> registry_iterator::next()
{
    std::lock_guard lock(mutex_);
    for (;;)
    {
        if (enter_current_)
            descend();
        auto& top = levels_.back();
        while (top.position < top.entries.size())
        {
            auto entry = top.entries[top.position++];
            if (recursive() && !done_.insert(entry.get()).second)
                continue;
            top.current = entry;
            enter_current_ = recursive();
            return entry;
        }
        top.current = nullptr;
        if (!recursive() || levels_.size() == 1)
            return nullptr;
        levels_.pop_back();
    }
}

void registry_iterator::reset()
{
    std::lock_guard lock(mutex_);
    restart();
}

bool registry_iterator::is_valid() const
{
    std::lock_guard lock(mutex_);
    return generation_ ==
           registry_model::instance().read([](registry_model const& model) { return model.generation(); });
}

IOReturn registry_iterator::enter_entry()
{
    std::lock_guard lock(mutex_);
    descend();
    return kIOReturnSuccess;
}

IOReturn registry_iterator::exit_entry()
{
    std::lock_guard lock(mutex_);
    if (levels_.size() == 1)
        return kIOReturnNoDevice;
    levels_.pop_back();
    return kIOReturnSuccess;
}

} // namespace plinth::sim::detail
