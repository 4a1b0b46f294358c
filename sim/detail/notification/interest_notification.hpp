// A general-interest notification on one service: its messages, delivered through a port.
#pragma once

#include "sim/detail/kernel/kernel_object.hpp"

#include <IOKit/IOKitLib.h>

#include <memory>

namespace plinth::sim::detail {

class notification_port;
class registry_entry;

// A general-interest notification on one service: the service's messages (its
// termination) are posted to the port while the caller holds this object.
class interest_notification final : public kernel_object
{
public:
    interest_notification(std::shared_ptr<registry_entry> service, std::shared_ptr<notification_port> port,
                          IOServiceInterestCallback callback, void* refcon);

    registry_entry const* service() const noexcept { return service_.get(); }

    void deliver(uint32_t message_type);

private:
    std::shared_ptr<registry_entry> const service_;
    std::shared_ptr<notification_port> const port_;
    IOServiceInterestCallback const callback_;
    void* const refcon_;
};

} // namespace plinth::sim::detail
