// The kernel's side of the notifications: registry changes handed to each notification that wants them.
#pragma once

#include "sim/detail/registry/registry_observer.hpp"

#include <memory>
#include <mutex>
#include <vector>

namespace plinth::sim::detail {

class interest_notification;
class matching_notification;

// The kernel's side of the notifications: it watches the registry and hands each
// service that joins or leaves to the notifications that want it. It holds the
// notifications weakly, so that releasing one (its last handle) cancels it.
class notification_center final : public registry_observer
{
public:
    static notification_center& instance();

    void add(std::shared_ptr<matching_notification> const& notification);
    void add(std::shared_ptr<interest_notification> const& notification);

    void entry_published(std::shared_ptr<registry_entry> const& entry) override;
    void entry_terminated(std::shared_ptr<registry_entry> const& entry) override;

private:
    notification_center() = default;

    std::vector<std::shared_ptr<matching_notification>> live_matching(int kind);

    std::mutex mutex_;
    std::vector<std::weak_ptr<matching_notification>> matching_;
    std::vector<std::weak_ptr<interest_notification>> interest_;
};

} // namespace plinth::sim::detail
