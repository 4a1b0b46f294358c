// Registry entries of some classes arriving and leaving: one device watcher per class, events read on the delivery thread.
#include "tools/plinth-ioreg/watch/registry_watch.hpp"

#include <boost/asio/post.hpp>

#include <chrono>

namespace plinth::ioreg_tool {

registry_watch::registry_watch(apple::detail::notifier_service& notifier, std::vector<std::string> const& class_names,
                               sink on_event)
    : on_event_(std::move(on_event))
{
    for (auto const& class_name : class_names.empty() ? std::vector<std::string>{"IOService"} : class_names)
        watchers_.push_back(std::make_unique<apple::device_watcher>(notifier, delivery_.get_executor(),
                                                                    apple::device_match{class_name}));
    // Started on the delivery thread, which alone uses the watchers from now on.
    boost::asio::post(delivery_, [this] {
        for (auto const& watcher : watchers_)
            wait(*watcher);
    });
}

registry_watch::~registry_watch()
{
    stop();
}

void registry_watch::stop()
{
    boost::asio::post(delivery_, [this] {
        stopping_ = true;
        for (auto const& watcher : watchers_)
            watcher->cancel();
    });
    // Returns once the cancelled waits have completed: nothing is left to run.
    delivery_.join();
}

void registry_watch::wait(apple::device_watcher& watcher)
{
    watcher.async_wait([this, &watcher](boost::system::error_code const& error, apple::device_event const& event) {
        if (stopping_ || error == boost::asio::error::operation_aborted)
            return;
        if (!error)
            deliver(event);
        wait(watcher);
    });
}

void registry_watch::deliver(apple::device_event const& event)
{
    auto const& entry = event.device;
    bool const arrived = event.kind == apple::device_event::kind_type::arrived;
    watch_event reported{std::chrono::system_clock::now(), arrived, {}, {}, 0, {}};
    try
    {
        reported.class_name = entry.get_class();
        reported.name = entry.get_name();
        reported.id = entry.get_id();
    }
    catch (boost::system::system_error const&)
    {
        return; // an entry that cannot be read any more is not worth a line
    }
    if (arrived)
    {
        // An entry gone again before it is reported here has no path: "-".
        try
        {
            reported.path = paths_[reported.id] = entry.get_path(plane::service);
        }
        catch (boost::system::system_error const&)
        {
        }
    }
    else if (auto const known = paths_.find(reported.id); known != paths_.end())
    {
        reported.path = known->second;
        paths_.erase(known);
    }
    if (!event.present_at_start)
        on_event_(reported);
}

} // namespace plinth::ioreg_tool
