// hid_queued_read: a queued stream's blocking read, waiting for the queue on the stream record's own mutex.
#pragma once

#include "device/apple/detail/hid_service.hpp"

#include <boost/system/error_code.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace plinth::apple::detail {

// A blocking read of a queued stream waits as a hand-written queue reader does:
// on a condition variable, under the lock that guards the queue. The report
// callback adds the report to the queue and wakes the reader, which takes it
// from the queue itself. A read that waits for a handler instead makes the
// handler, takes two more locks per report and crosses threads once more.
// Its ends are those of the other blocking reads: a report, a removal, a
// timeout, a later read that replaces it (it then waits to its deadline),
// cancel() (released through the executor), and the context's shutdown. The
// stream going releases it too, rather than leave it waiting on a record that
// is about to be destroyed.
class hid_queued_read
{
public:
    using locked_data = hid_service::record::locked<hid_service::data>;

    // Waits, `locked` held, until a report or a removal comes for this read, it
    // is released, or `deadline` passes; then takes what came. The caller has
    // checked, under the same lock, that nothing is ready for it, that no
    // removal waits and that the context is not shutting down. The read replaces
    // the one pending, whose handler is destroyed uncalled.
    static std::size_t wait(locked_data& locked, hid_service::data::read_target const& target,
                            std::optional<std::chrono::steady_clock::time_point> deadline,
                            boost::system::error_code& ec);

    // The waiting reader whose read is the pending one, if any.
    static hid_service::data::queued_reader* current(hid_service::data& data) noexcept;
    // Marks `reader` cancelled (it takes no report from now on) and returns the
    // number release() finds it by.
    static std::uint64_t cancel(hid_service::data& data, hid_service::data::queued_reader& reader) noexcept;
    // Ends the wait of reader `number`, if it still waits, with operation_aborted.
    static void release(hid_service::data& data, std::uint64_t number) noexcept;
    // Ends every wait with operation_aborted; with `until_gone`, returns once
    // every reader has left its wait, so that the record can be destroyed.
    static void release_all(locked_data& locked, bool until_gone);

    // Releases `locked` and wakes the readers that wait, as a callback does once
    // it has queued a report or learnt of a removal: none, the one reader, or
    // all when a replaced reader waits beside the current one, which
    // notify_one might wake instead. The record outlives the callback, so the
    // condition variable is still there once the lock is released.
    static void unlock_and_wake(locked_data& locked) noexcept;
};

} // namespace plinth::apple::detail
