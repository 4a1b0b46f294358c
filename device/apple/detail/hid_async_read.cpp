// hid_async_read: completing an asynchronous read once, through its handler's executor or on the shutting-down thread.
#include "device/apple/detail/hid_async_read.hpp"

#include <boost/asio/error.hpp>

#include <utility>

namespace plinth::apple::detail {

void hid_async_read::bind(boost::asio::mutable_buffer b, std::uint8_t* report_id, std::weak_ptr<void const> alive,
                          hid_service::record* r) noexcept
{
    buffer = b;
    caller_id = report_id;
    stream_alive = std::move(alive);
    record = r;
}

void hid_async_read::settle()
{
    if (result)
        return;
    if (cancelled_after_fill)
    {
        // The stream may be gone; then so is the report's reader.
        if (auto const alive = stream_alive.lock())
        {
            auto const* const data = static_cast<std::uint8_t const*>(buffer.data());
            // Older than any report kept since it was taken: the next read's first.
            record->lock()->unread.push_front(hid_service::data::unread_report{delivered_id, {data, data + bytes}});
        }
        result = boost::asio::error::operation_aborted;
        bytes = 0;
        return;
    }
    if (caller_id != nullptr)
        *caller_id = delivered_id;
}

} // namespace plinth::apple::detail
