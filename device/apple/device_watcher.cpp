// device_watcher: arms the departure, then the arrival notification, and hands their tokens to the notifier.
#include "device/apple/device_watcher.hpp"

#include "device/apple/detail/device_watcher_service.hpp"
#include "io_kit/io_service.hpp"

#include <boost/asio/execution/context.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/asio/query.hpp>

namespace plinth::apple {
namespace {

detail::notifier_service& notifier_of(boost::asio::any_io_executor const& executor)
{
    return boost::asio::use_service<detail::notifier_service>(
        boost::asio::query(executor, boost::asio::execution::context));
}

} // namespace

device_watcher::device_watcher(executor_type executor, device_match match, std::size_t capacity)
    : device_watcher(notifier_of(executor), executor, std::move(match), capacity)
{
}

device_watcher::device_watcher(detail::notifier_service& notifier, executor_type executor, device_match match,
                               std::size_t capacity)
    : executor_(std::move(executor)),
      match_(std::move(match)),
      service_(&boost::asio::use_service<detail::device_watcher_service>(
          boost::asio::query(executor_, boost::asio::execution::context))),
      state_(std::make_shared<detail::device_watch_state>(match_, capacity))
{
    auto const& port = notifier.get_notification_port();
    auto const matching = io_kit::io_service::matching(match_.class_name);
    // Departures first: an entry that leaves before the arrivals are armed is then
    // neither reported arriving nor leaving.
    auto departures = port.add_matching_notification(kIOTerminatedNotification, matching,
                                                     detail::device_watch_state::left, state_.get());
    state_->take_initial(departures.get(), device_event::kind_type::left);
    tokens_.push_back(notifier.get_token(std::move(departures), state_));
    auto arrivals = port.add_matching_notification(kIOFirstMatchNotification, matching,
                                                   detail::device_watch_state::arrived, state_.get());
    state_->take_initial(arrivals.get(), device_event::kind_type::arrived);
    tokens_.push_back(notifier.get_token(std::move(arrivals), state_));
    service_->add(state_);
}

// The notifications end as the tokens go, asynchronously: a callback may still be
// running with the state, which they keep alive until none can.
device_watcher::~device_watcher()
{
    service_->remove(*state_);
    state_->close();
}

} // namespace plinth::apple
