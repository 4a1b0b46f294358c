// Registry entries of some classes arriving and leaving, delivered one at a time on a thread of the watch's own.
#pragma once

#include "device/apple/detail/notifier_service.hpp"
#include "device/apple/device_watcher.hpp"
#include "tools/plinth-ioreg/watch/watch_event.hpp"

#include <boost/asio/thread_pool.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// Watches registry entries of some classes arrive and leave, with one device
// watcher per class on a notifier service: each event goes to the sink on a
// thread of the watch's own, one at a time. Entries present when the watch starts
// are not events; the watch ends when it is destroyed (or when the notifier shuts
// down). Events the watchers had to drop (the sink too slow for the registry) are
// left out.
class registry_watch
{
public:
    using sink = std::function<void(watch_event const&)>;

    // `class_names`: every service conforming to one of them; every service when
    // empty. Throws boost::system::system_error when IOKit refuses a notification.
    registry_watch(apple::detail::notifier_service& notifier, std::vector<std::string> const& class_names,
                   sink on_event);
    registry_watch(registry_watch const&) = delete;
    registry_watch& operator=(registry_watch const&) = delete;
    // Calls stop().
    ~registry_watch();

    // Ends the deliveries: cancels the waits and joins the sink's thread, so that
    // the sink is not called any more. Later calls do nothing.
    void stop();

private:
    void wait(apple::device_watcher& watcher);
    void deliver(apple::device_event const& event);

    // Declared first, so that it goes last: the watchers' waits complete on it.
    boost::asio::thread_pool delivery_{1};
    sink on_event_;
    // The paths of the entries seen, since an entry that has left has no path any
    // more. Used on the delivery thread only.
    std::map<std::uint64_t, std::string> paths_;
    bool stopping_ = false;
    std::vector<std::unique_ptr<apple::device_watcher>> watchers_;
};

} // namespace plinth::ioreg_tool
