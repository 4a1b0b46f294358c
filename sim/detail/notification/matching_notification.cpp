// A matching notification: services held for the caller, and its armed callback.
#include "sim/detail/notification/matching_notification.hpp"

#include "sim/detail/kernel/handle_table.hpp"
#include "sim/detail/notification/notification_port.hpp"
#include "sim/detail/registry/registry_entry.hpp"

#include <algorithm>

namespace plinth::sim::detail {

matching_notification::matching_notification(kind k, service_matcher matcher, std::shared_ptr<notification_port> port,
                                             IOServiceMatchingCallback callback, void* refcon,
                                             std::vector<std::shared_ptr<registry_entry>> initial)
    : kind_(k),
      matcher_(std::move(matcher)),
      port_(std::move(port)),
      callback_(callback),
      refcon_(refcon),
      pending_(std::move(initial))
{
    // Taken from the back: the first service found comes out first.
    std::reverse(pending_.begin(), pending_.end());
}

void matching_notification::set_name(io_iterator_t name)
{
    std::lock_guard guard(mutex_);
    name_ = name;
}

void matching_notification::arrive(std::shared_ptr<registry_entry> entry)
{
    io_iterator_t name = 0;
    {
        std::lock_guard guard(mutex_);
        if (pending_.size() < max_pending)
            pending_.push_back(std::move(entry));
        if (!armed_)
            return;
        armed_ = false;
        name = name_;
    }
    // The callback reaches the caller only while the caller holds the iterator.
    // Once it runs, the message's own right keeps the name valid until it returns,
    // even if the caller releases the notification on another thread meanwhile.
    std::weak_ptr<kernel_object> const self = weak_from_this();
    port_->post([self, callback = callback_, refcon = refcon_, name] {
        if (self.lock() == nullptr || callback == nullptr)
            return;
        auto& names = handle_table::instance();
        if (names.retain(name) != KERN_SUCCESS)
            return;
        callback(refcon, name);
        names.release(name);
    });
}

std::shared_ptr<registry_entry> matching_notification::next()
{
    std::lock_guard guard(mutex_);
    if (pending_.empty())
    {
        armed_ = true;
        return nullptr;
    }
    auto entry = std::move(pending_.back());
    pending_.pop_back();
    return entry;
}

void matching_notification::reset() {}

bool matching_notification::is_valid() const
{
    return true;
}

} // namespace plinth::sim::detail
