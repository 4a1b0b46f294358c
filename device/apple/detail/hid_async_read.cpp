// hid_async_read: completing an asynchronous read once, through its handler's executor or on the shutting-down thread.
#include "device/apple/detail/hid_async_read.hpp"

#include <boost/asio/error.hpp>

#include <utility>

namespace plinth::apple::detail {

void hid_async_read::bind(hid_service::data::read_target target, std::weak_ptr<void const> alive,
                          hid_service::record* r) noexcept
{
    caller = target;
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
            // Older than any report kept since they were taken: the next read's first.
            auto locked = record->lock();
            if (caller.batch != nullptr)
            {
                for (auto i = caller.batch->size(); i-- > 0;)
                {
                    auto const report = (*caller.batch)[i];
                    locked->unread.push_front(
                        hid_service::data::unread_report{report.report_id, {report.bytes.begin(), report.bytes.end()}});
                }
                caller.batch->clear();
            }
            else
            {
                auto const* const data = static_cast<std::uint8_t const*>(caller.buffer.data());
                locked->unread.push_front(hid_service::data::unread_report{delivered_id, {data, data + bytes}});
            }
        }
        result = boost::asio::error::operation_aborted;
        bytes = 0;
        return;
    }
    if (caller.batch == nullptr && caller.report_id != nullptr)
        *caller.report_id = delivered_id;
}

} // namespace plinth::apple::detail
