#include "tools/plinth-ioreg/registry_watch.hpp"

#include "device/apple/device.hpp"
#include "io_kit/io_service.hpp"

#include <IOKit/IOKitLib.h>

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace plinth::ioreg_tool {
namespace {

// What one class's pair of notifications shares: the sink, and the paths of the
// entries seen, since an entry that has left has no path any more.
struct class_watch
{
    registry_watch::sink on_event;
    std::mutex mutex;
    std::map<std::uint64_t, std::string> paths;

    // Takes every entry the notification holds; reports each unless arming. IOKit
    // hands out what accumulated newest first: reported the other way round, the
    // events come in the order things happened.
    void take(io_iterator_t notification, bool arrived, bool report)
    {
        // The notification owns the iterator: the wrapper takes a reference of its own.
        auto entries = apple::io_kit::io_iterator::share(notification);
        std::vector<watch_event> events;
        while (auto object = entries.next())
        {
            apple::device const entry{apple::io_kit::io_registry_entry(std::move(object))};
            watch_event event{std::chrono::system_clock::now(), arrived, entry.get_class(), entry.get_name(),
                              entry.get_id(), {}};
            std::lock_guard const lock(mutex);
            if (arrived)
                event.path = paths[event.id] = entry.get_path(plane::service);
            else if (auto const known = paths.find(event.id); known != paths.end())
            {
                event.path = known->second;
                paths.erase(known);
            }
            events.push_back(std::move(event));
        }
        if (report)
            for (auto event = events.rbegin(); event != events.rend(); ++event)
                on_event(*event);
    }

    static void arrived(void* refcon, io_iterator_t notification)
    {
        static_cast<class_watch*>(refcon)->take(notification, true, true);
    }

    static void left(void* refcon, io_iterator_t notification)
    {
        static_cast<class_watch*>(refcon)->take(notification, false, true);
    }
};

} // namespace

registry_watch::registry_watch(apple::detail::notifier_service& notifier, std::vector<std::string> const& class_names,
                               sink on_event)
{
    auto const& port = notifier.get_notification_port();
    for (auto const& class_name : class_names.empty() ? std::vector<std::string>{"IOService"} : class_names)
    {
        auto watch = std::make_shared<class_watch>();
        watch->on_event = on_event;
        auto const matching = apple::io_kit::io_service::matching(class_name);
        // Arming drains what is there already: those entries are known, not new.
        auto arrivals = port.add_matching_notification(kIOFirstMatchNotification, matching, class_watch::arrived,
                                                       watch.get());
        watch->take(arrivals.get(), true, false);
        auto departures = port.add_matching_notification(kIOTerminatedNotification, matching, class_watch::left,
                                                         watch.get());
        watch->take(departures.get(), false, false);
        tokens_.push_back(notifier.get_token(std::move(arrivals), watch));
        tokens_.push_back(notifier.get_token(std::move(departures), std::move(watch)));
    }
}

} // namespace plinth::ioreg_tool
