// hid_read_cancellation: withdrawing an asynchronous read from its stream, or giving back the report it already holds.
#include "device/apple/detail/hid_read_cancellation.hpp"

#include "device/apple/detail/hid_pending_read.hpp"

#include <boost/asio/error.hpp>

#include <utility>

namespace plinth::apple::detail {

hid_read_cancellation::hid_read_cancellation(std::weak_ptr<void const> alive, hid_service::record* r,
                                             hid_async_read* op) noexcept
    : stream_alive(std::move(alive)), record(r), read(op)
{
}

void hid_read_cancellation::operator()(boost::asio::cancellation_type_t type)
{
    if (type == boost::asio::cancellation_type::none)
        return;
    // The stream may be gone while its aborted read waits to complete.
    auto const alive = stream_alive.lock();
    if (!alive)
        return;
    hid_pending_read::completion handler;
    {
        auto locked = record->lock();
        if (locked->read_owner != read)
            return;
        if (!locked->pending_read || !locked->pending_read->handler)
        {
            // Filled, removed or cancelled already: its completion is on its way.
            read->cancel_after_fill();
            return;
        }
        handler = hid_pending_read(*locked).take_handler();
        locked->withdraw_read();
    }
    handler(boost::asio::error::operation_aborted, 0);
}

} // namespace plinth::apple::detail
