// hid_blocking_wait: where a stream's blocking reads wait for the handler that completes them.
#pragma once

#include <boost/system/error_code.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace plinth::apple::detail {

// Where the blocking reads of one stream wait. Each waiting reader holds a
// ticket; its pending read's handler, called on whichever thread completes the
// read, completes the ticket by number. A handler that outlives its reader (the
// reader timed out, or a later read replaced it) completes a number nobody holds
// any more, which is ignored. The stream's record and the handlers of its reads
// share it, so that a handler cancel() posted finds it after the stream is gone.
//
// A promise per read would cost a shared state from the pools and a call_once
// per report; here a reader that waits makes no shared state, and the
// handler's call takes one short lock and wakes one thread.
class hid_blocking_wait
{
public:
    using outcome = std::pair<boost::system::error_code, std::size_t>;

    // One reader's claim on an outcome, from construction to destruction. It
    // shares the wait: a reader left blocked by a read that replaced its own may
    // outlive the stream.
    class ticket
    {
    public:
        explicit ticket(std::shared_ptr<hid_blocking_wait> wait);
        ~ticket();
        ticket(ticket const&) = delete;
        ticket& operator=(ticket const&) = delete;

        // What the read's handler calls to complete this ticket, on any thread,
        // however long after the ticket is gone.
        auto completion() const
        {
            return [wait = wait_, number = number_](boost::system::error_code const& code, std::size_t n) {
                wait->complete(number, code, n);
            };
        }
        // The outcome once its handler has run; nullopt if `deadline` came first.
        std::optional<outcome> wait_until(std::chrono::steady_clock::time_point deadline);
        outcome wait();
        // Whether the outcome has come, without waiting.
        bool done();

    private:
        friend class hid_blocking_wait;
        std::shared_ptr<hid_blocking_wait> wait_;
        std::uint64_t number_;
        std::optional<outcome> outcome_;
    };

    hid_blocking_wait();

    // Hands ticket `number` its outcome and wakes its reader, if it still waits.
    void complete(std::uint64_t number, boost::system::error_code const& code, std::size_t n);

private:
    std::mutex mutex;
    std::condition_variable completed;
    std::uint64_t issued = 0;
    // Readers overlap only when a caller breaks the one-read-at-a-time rule:
    // this holds one ticket, and grows to hold more without shrinking back.
    std::vector<ticket*> waiting;
};

} // namespace plinth::apple::detail
