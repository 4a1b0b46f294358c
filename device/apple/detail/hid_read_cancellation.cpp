// hid_read_cancellation: withdrawing an asynchronous read from its stream, or giving back the report it already holds.
#include "device/apple/detail/hid_read_cancellation.hpp"

#include "device/apple/detail/hid_pending_read.hpp"

#include <boost/asio/error.hpp>

#include <utility>

namespace plinth::apple::detail {

hid_read_cancellation::hid_read_cancellation(std::weak_ptr<hid_service::lifeline> life, hid_async_read* op) noexcept
    : stream_life(std::move(life)), read(op)
{
}

void hid_read_cancellation::operator()(boost::asio::cancellation_type_t type)
{
    if (type == boost::asio::cancellation_type::none)
        return;
    // The stream may be gone while its aborted read waits to complete.
    hid_pending_read::completion handler;
    hid_service::lifeline::with_record(stream_life, [&](hid_service::data& data) {
        if (data.read_owner != read)
            return;
        if (!data.pending_read || !data.pending_read->handler)
        {
            // Filled, removed or cancelled already: its completion is on its way.
            read->cancel_after_fill();
            return;
        }
        handler = hid_pending_read(data).take_handler();
        data.withdraw_read();
    });
    if (handler)
        handler(boost::asio::error::operation_aborted, 0);
}

} // namespace plinth::apple::detail
