// hid_pending_read: starting a stream's pending read, handing it the kept report, taking its handler to complete it.
#include "device/apple/detail/hid_pending_read.hpp"

#include <boost/asio/buffer.hpp>

#include <utility>

namespace plinth::apple::detail {

hid_pending_read::hid_pending_read(hid_service::data& d) noexcept : data(d) {}

std::optional<hid_pending_read::request> hid_pending_read::start(request read, void const* owner,
                                                                 std::shared_ptr<hid_run_loop_token> token)
{
    auto replaced = std::exchange(data.pending_read, std::move(read));
    become_owner(owner, std::move(token));
    return replaced;
}

std::optional<hid_pending_read::request> hid_pending_read::start_waiting(void const* owner) noexcept
{
    // A reader that waits for every report writes only what it must: each
    // field written here is one the callback, on another core, may have to
    // fetch back, and most are as they should be already.
    std::optional<request> replaced;
    if (data.pending_read)
        replaced = std::exchange(data.pending_read, std::nullopt);
    become_owner(owner, nullptr);
    return replaced;
}

void hid_pending_read::become_owner(void const* owner, std::shared_ptr<hid_run_loop_token> token) noexcept
{
    data.read_owner = owner;
    if (data.read_withdrawn)
        data.read_withdrawn = false;
    if (token || data.read_token)
        data.read_token = std::move(token);
}

bool hid_pending_read::has_ready() const noexcept
{
    return !data.unread.empty() || (data.queue_token && !data.queue->empty());
}

std::size_t hid_pending_read::take_ready(target const& read)
{
    std::size_t taken = 0;
    do
    {
        if (!data.unread.empty())
        {
            auto const& oldest = data.unread.front();
            taken += fill(read, oldest.report_id, oldest.bytes);
            data.unread.pop_front();
        }
        else
        {
            taken += fill(read, data.queue->front_id(), data.queue->front());
            data.queue->pop();
        }
    } while (read.batch != nullptr && !read.batch->full() && has_ready());
    return taken;
}

std::size_t hid_pending_read::fill(target const& read, std::uint8_t report_id,
                                   std::span<std::uint8_t const> bytes) noexcept
{
    if (read.batch != nullptr)
    {
        read.batch->push_back(report_id, bytes);
        return 1;
    }
    if (read.report_id != nullptr)
        *read.report_id = report_id;
    return boost::asio::buffer_copy(read.buffer, boost::asio::buffer(bytes.data(), bytes.size()));
}

hid_pending_read::completion hid_pending_read::take_handler() noexcept
{
    if (!data.pending_read)
        return {};
    auto handler = std::move(data.pending_read->handler);
    data.pending_read.reset();
    return handler;
}

} // namespace plinth::apple::detail
