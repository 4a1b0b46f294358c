#pragma once

#include "device/apple/notifier.hpp"
#include "tools/plinth-ioreg/watch_event.hpp"

#include <functional>
#include <string>
#include <vector>

namespace plinth::ioreg_tool {

// Watches registry entries of some classes arrive and leave, through a notifier
// service: each event goes to the sink on the notifier's thread. Entries present
// when the watch starts are not events; the watch ends when it is destroyed (or
// when the notifier shuts down).
class registry_watch
{
public:
    using sink = std::function<void(watch_event const&)>;

    // `class_names`: every service conforming to one of them; every service when
    // empty. Throws boost::system::system_error when IOKit refuses a notification.
    registry_watch(apple::detail::notifier_service& notifier, std::vector<std::string> const& class_names,
                   sink on_event);

private:
    std::vector<apple::detail::notifier_service::token> tokens_;
};

} // namespace plinth::ioreg_tool
