// hid_async_read: completing an asynchronous read once, through its handler's executor or on the shutting-down thread.
#include "device/apple/detail/hid_async_read.hpp"

#include <boost/asio/error.hpp>

#include <utility>

namespace plinth::apple::detail {

void hid_async_read::bind(hid_service::data::read_target target, std::weak_ptr<hid_service::lifeline> life) noexcept
{
    caller = target;
    stream_life = std::move(life);
}

void hid_async_read::settle()
{
    if (result)
        return;
    if (cancelled_after_fill)
    {
        // The stream may be gone; then so is the report's reader. Otherwise the
        // reports are older than any kept since they were taken: the next read's first.
        hid_service::lifeline::with_record(stream_life, [&](hid_service::data& data) {
            if (caller.batch != nullptr)
            {
                for (auto i = caller.batch->size(); i-- > 0;)
                {
                    auto const report = (*caller.batch)[i];
                    data.unread.push_front(
                        hid_service::data::unread_report{report.report_id, {report.bytes.begin(), report.bytes.end()}});
                }
                caller.batch->clear();
            }
            else
            {
                auto const* const kept = static_cast<std::uint8_t const*>(caller.buffer.data());
                data.unread.push_front(hid_service::data::unread_report{delivered_id, {kept, kept + bytes}});
            }
        });
        result = boost::asio::error::operation_aborted;
        bytes = 0;
        return;
    }
    if (caller.batch == nullptr && caller.report_id != nullptr)
        *caller.report_id = delivered_id;
}

} // namespace plinth::apple::detail
