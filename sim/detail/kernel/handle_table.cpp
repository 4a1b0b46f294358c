// The task's name space of kernel objects: io_object_t names with user reference counts.
#include "sim/detail/kernel/handle_table.hpp"

namespace plinth::sim::detail {

namespace {

// Mach names carry an index in their upper bits and a generation in their low
// byte; macOS hands out names such as 0x1003, 0x1103, 0x1203. The step keeps that
// look, and the name space (2^24 names) outlasts any test run.
constexpr io_object_t first_name = 0x1003;
constexpr io_object_t name_step = 0x100;

} // namespace

handle_table& handle_table::instance()
{
    // Never destroyed: a Mac's port names outlive the process's static destructors,
    // and a detached thread may still release a handle while they run.
    static auto* const table = new handle_table;
    return *table;
}

io_object_t handle_table::add_reference(std::shared_ptr<kernel_object> object)
{
    std::lock_guard lock(mutex_);
    if (auto const found = by_object_.find(object.get()); found != by_object_.end())
    {
        ++by_name_.at(found->second).user_references;
        return found->second;
    }
    if (next_name_ == 0)
        next_name_ = first_name;
    auto const name = next_name_;
    next_name_ += name_step;
    by_object_.emplace(object.get(), name);
    by_name_.emplace(name, slot{std::move(object), 1});
    return name;
}

std::shared_ptr<kernel_object> handle_table::find(io_object_t name) const
{
    std::lock_guard lock(mutex_);
    auto const found = by_name_.find(name);
    return found == by_name_.end() ? nullptr : found->second.object;
}

kern_return_t handle_table::retain(io_object_t name)
{
    std::lock_guard lock(mutex_);
    auto const found = by_name_.find(name);
    if (found == by_name_.end())
        return KERN_INVALID_NAME;
    ++found->second.user_references;
    return KERN_SUCCESS;
}

kern_return_t handle_table::release(io_object_t name)
{
    std::shared_ptr<kernel_object> last_reference;
    {
        std::lock_guard lock(mutex_);
        auto const found = by_name_.find(name);
        if (found == by_name_.end())
            return KERN_INVALID_NAME;
        if (--found->second.user_references > 0)
            return KERN_SUCCESS;
        // The object may be destroyed with its last reference; that happens after
        // the table's lock is released, since an iterator drops entries with it.
        last_reference = std::move(found->second.object);
        by_object_.erase(last_reference.get());
        by_name_.erase(found);
    }
    return KERN_SUCCESS;
}

std::uint32_t handle_table::user_references(io_object_t name) const
{
    std::lock_guard lock(mutex_);
    auto const found = by_name_.find(name);
    return found == by_name_.end() ? 0 : found->second.user_references;
}

std::size_t handle_table::live_count() const
{
    std::lock_guard lock(mutex_);
    return by_name_.size();
}

} // namespace plinth::sim::detail
