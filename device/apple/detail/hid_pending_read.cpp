// hid_pending_read: starting a stream's pending read, handing it the kept report, taking its handler to complete it.
#include "device/apple/detail/hid_pending_read.hpp"

#include <utility>

namespace plinth::apple::detail {

hid_pending_read::hid_pending_read(hid_service::data& d) noexcept : data(d) {}

std::optional<hid_pending_read::request> hid_pending_read::start(request read, void const* owner,
                                                                 std::shared_ptr<hid_run_loop_token> token)
{
    auto replaced = std::exchange(data.pending_read, std::move(read));
    data.read_owner = owner;
    data.read_withdrawn = false;
    data.read_token = std::move(token);
    return replaced;
}

std::size_t hid_pending_read::take_unread(std::uint8_t* report_id, boost::asio::mutable_buffer buffer)
{
    auto const& oldest = data.unread.front();
    if (report_id != nullptr)
        *report_id = oldest.report_id;
    auto const n = boost::asio::buffer_copy(buffer, boost::asio::buffer(oldest.bytes));
    data.unread.pop_front();
    return n;
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
