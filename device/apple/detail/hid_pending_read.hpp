// hid_pending_read: the steps on a stream record's pending read that reads, callbacks, cancellation and shutdown share.
#pragma once

#include "device/apple/detail/hid_run_loop_token.hpp"
#include "device/apple/detail/hid_service.hpp"

#include <boost/asio/buffer.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

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
    using target = hid_service::data::read_target;
    using completion = decltype(request::handler);

    explicit hid_pending_read(hid_service::data& data) noexcept;

    // Makes `read` the pending read, scheduled in the read run-loop mode by
    // `token`, and `owner` the one who started it (see data::read_owner). Returns
    // the read it replaces, whose handler is never called: where that is
    // destroyed, under the lock or after, is the caller's choice.
    std::optional<request> start(request read, void const* owner, std::shared_ptr<hid_run_loop_token> token);
    // Makes `owner`, a queued stream's blocking reader that waits for the queue
    // itself, the one whose read is pending, with no request recorded; returns
    // the read it replaces, as start() does.
    std::optional<request> start_waiting(void const* owner) noexcept;
    // Whether a read would take a report at once: one kept (data.unread), or,
    // for a queued stream, one in its queue.
    bool has_ready() const noexcept;
    // Hands a read the reports ready for it (has_ready() must be true), the kept
    // ones before the queued ones, and forgets them: the oldest one to a read of
    // one report, and returns the bytes copied; as many as fit to a batch read,
    // which its caller has emptied, and returns how many.
    std::size_t take_ready(target const& read);
    // Puts a report that has just come into a read: its ID to *report_id unless
    // that is null and its bytes, cut to the buffer, to the buffer, returning the
    // bytes copied; or the report into the batch, returning 1.
    static std::size_t fill(target const& read, std::uint8_t report_id, std::span<std::uint8_t const> bytes) noexcept;
    // The pending read's handler, the read forgotten. Empty when no read is
    // pending, or when cancel() has taken the handler already.
    completion take_handler() noexcept;

private:
    // Makes `owner` the one whose read is pending, held scheduled by `token`;
    // writes no field that is as it should be already.
    void become_owner(void const* owner, std::shared_ptr<hid_run_loop_token> token) noexcept;

    hid_service::data& data;
};

} // namespace plinth::apple::detail
