// A general-interest notification on one service.
#include "sim/detail/notification/interest_notification.hpp"

#include "sim/detail/kernel/handle_table.hpp"
#include "sim/detail/kernel/object_lookup.hpp"
#include "sim/detail/notification/notification_port.hpp"
#include "sim/detail/registry/registry_entry.hpp"

namespace plinth::sim::detail {

interest_notification::interest_notification(std::shared_ptr<registry_entry> service,
                                             std::shared_ptr<notification_port> port,
                                             IOServiceInterestCallback callback, void* refcon)
    : service_(std::move(service)), port_(std::move(port)), callback_(callback), refcon_(refcon)
{
}

void interest_notification::deliver(uint32_t message_type)
{
    std::weak_ptr<kernel_object> const self = weak_from_this();
    port_->post([self, service = service_, callback = callback_, refcon = refcon_, message_type] {
        if (self.lock() == nullptr || callback == nullptr)
            return;
        // The message carries a send right to the service, which has the task's one
        // name for it; the right goes when the callout returns.
        io_service_t const name = hand_out(service);
        callback(refcon, name, message_type, nullptr);
        handle_table::instance().release(name);
    });
}

} // namespace plinth::sim::detail
