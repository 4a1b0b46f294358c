// hid_pending_read: the steps on a stream record's pending read that reads, callbacks, cancellation and shutdown share.
#pragma once

#include "device/apple/detail/hid_run_loop_token.hpp"
#include "device/apple/detail/hid_service.hpp"

#include <boost/asio/buffer.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

namespace plinth::apple::detail {

// The read pending on one stream's record, worked on through the record's data
// while the caller holds the record's lock: how a read becomes the pending one,
// how a read takes the report kept for it, and how what completes a read (a
// report, a removal, a cancellation through the handler's slot, shutdown) takes
// the read's handler, to call it once the lock is released. The record's own
// members (withdraw_read, keep_unread, take_removal) do the rest.
class hid_pending_read
{
public:
    using request = hid_service::data::read_request;
    using completion = decltype(request::handler);

    explicit hid_pending_read(hid_service::data& data) noexcept;

    // Makes `read` the pending read, scheduled in the read run-loop mode by
    // `token`, and `owner` the one who started it (see data::read_owner). Returns
    // the read it replaces, whose handler is never called: where that is
    // destroyed, under the lock or after, is the caller's choice.
    std::optional<request> start(request read, void const* owner, std::shared_ptr<hid_run_loop_token> token);
    // Hands the oldest kept report (data.unread, which must have one) to a read,
    // and forgets it: its ID to *report_id unless that is null, its bytes, cut to the
    // buffer, to `buffer`. Returns the bytes copied.
    std::size_t take_unread(std::uint8_t* report_id, boost::asio::mutable_buffer buffer);
    // The pending read's handler, the read forgotten. Empty when no read is
    // pending, or when cancel() has taken the handler already.
    completion take_handler() noexcept;

private:
    hid_service::data& data;
};

} // namespace plinth::apple::detail
