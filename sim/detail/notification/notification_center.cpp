// The kernel's side of the notifications: registry changes handed to each notification that wants them.
#include "sim/detail/notification/notification_center.hpp"

#include "sim/detail/notification/interest_notification.hpp"
#include "sim/detail/notification/matching_notification.hpp"
#include "sim/detail/registry/registry_model.hpp"
#include "sim/detail/registry/service_matcher.hpp"

#include <IOKit/IOMessage.h>

namespace plinth::sim::detail {

notification_center& notification_center::instance()
{
    // Shared with the registry, which tells it of every change; never destroyed,
    // so that registry changes made by static destructors still find it.
    static auto* const center = [] {
        auto* made = new notification_center;
        registry_model::instance().add_observer(std::shared_ptr<registry_observer>(made, [](auto*) {}));
        return made;
    }();
    return *center;
}

void notification_center::add(std::shared_ptr<matching_notification> const& notification)
{
    std::lock_guard guard(mutex_);
    std::erase_if(matching_, [](auto const& held) { return held.expired(); });
    matching_.push_back(notification);
}

void notification_center::add(std::shared_ptr<interest_notification> const& notification)
{
    std::lock_guard guard(mutex_);
    std::erase_if(interest_, [](auto const& held) { return held.expired(); });
    interest_.push_back(notification);
}

std::vector<std::shared_ptr<matching_notification>> notification_center::live_matching(int kind)
{
    std::vector<std::shared_ptr<matching_notification>> live;
    std::lock_guard guard(mutex_);
    for (auto const& held : matching_)
        if (auto notification = held.lock();
            notification && static_cast<int>(notification->notification_kind()) == kind)
            live.push_back(std::move(notification));
    return live;
}

void notification_center::entry_published(std::shared_ptr<registry_entry> const& entry)
{
    for (auto const& notification : live_matching(static_cast<int>(matching_notification::kind::publish)))
        if (entry_matches(notification->matcher(), *entry))
            notification->arrive(entry);
}

void notification_center::entry_terminated(std::shared_ptr<registry_entry> const& entry)
{
    for (auto const& notification : live_matching(static_cast<int>(matching_notification::kind::terminate)))
        if (entry_matches(notification->matcher(), *entry))
            notification->arrive(entry);

    std::vector<std::shared_ptr<interest_notification>> interested;
    {
        std::lock_guard guard(mutex_);
        for (auto const& held : interest_)
            if (auto notification = held.lock(); notification && notification->service() == entry.get())
                interested.push_back(std::move(notification));
    }
    for (auto const& notification : interested)
        notification->deliver(kIOMessageServiceIsTerminated);
}

} // namespace plinth::sim::detail
