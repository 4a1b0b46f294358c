// watcher_churn: device watchers made and dropped on strands, checking each history they are told is possible.
#pragma once
// The device watchers' half of notifier_stress: watchers made and destroyed from
// several threads, and from inside their own handlers, while entries come and go.
// Each checks that what it was told is a history that could have happened (no
// entry arrives twice, none leaves before it arrived) and counts its waits, so
// that the run can prove that every wait completed exactly once.

#include "device/apple/device_watcher.hpp"
#include "error/apple/watch_errc.hpp"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/system/system_error.hpp>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace plinth::stress {

struct watcher_totals
{
    std::atomic<std::uint64_t> watchers_made{0};
    std::atomic<std::uint64_t> watchers_refused{0};
    std::atomic<std::uint64_t> destroyed_by_their_threads{0};
    std::atomic<std::uint64_t> destroyed_in_their_handlers{0};
    std::atomic<std::uint64_t> waits_started{0};
    std::atomic<std::uint64_t> waits_completed{0};
    std::atomic<std::uint64_t> arrivals{0};
    std::atomic<std::uint64_t> departures{0};
    std::atomic<std::uint64_t> aborted{0};
    std::atomic<std::uint64_t> overflows{0};
    std::atomic<std::uint64_t> impossible_histories{0};
    std::atomic<std::uint64_t> unexpected_errors{0};
    std::atomic<std::uint64_t> sessions_made{0};
    std::atomic<std::uint64_t> sessions_released{0};
};

// One watcher and the history it was told. Everything it does runs on its strand,
// as a watcher is not to be used from two threads at once; the threads that make
// and stop sessions only post to it.
class watch_session : public std::enable_shared_from_this<watch_session>
{
public:
    // `drop_after`: how many events the session takes before destroying its
    // watcher inside its own handler (0: never; its thread stops it).
    watch_session(boost::asio::io_context& context, std::string class_name, unsigned drop_after, watcher_totals& t)
        : strand_(boost::asio::make_strand(context)),
          class_name_(std::move(class_name)),
          drop_after_(drop_after),
          totals_(&t)
    {
        ++t.sessions_made;
    }
    ~watch_session() { ++totals_->sessions_released; }
    watch_session(watch_session const&) = delete;
    watch_session& operator=(watch_session const&) = delete;

    void start()
    {
        boost::asio::post(strand_, [self = shared_from_this()] { self->make(); });
    }

    // Whether the session has made its watcher (or been refused one) yet.
    bool started() const noexcept { return started_.load(); }

    // Destroys the watcher, which completes its pending wait with operation_aborted.
    void stop()
    {
        boost::asio::post(strand_, [self = shared_from_this()] {
            if (self->watcher_)
            {
                self->watcher_.reset();
                ++self->totals_->destroyed_by_their_threads;
            }
        });
    }

private:
    void make()
    {
        try
        {
            watcher_.emplace(strand_, apple::device_match(class_name_));
        }
        catch (boost::system::system_error const&)
        {
            ++totals_->watchers_refused;
            started_ = true;
            return;
        }
        ++totals_->watchers_made;
        wait();
        started_ = true;
    }

    void wait()
    {
        ++totals_->waits_started;
        watcher_->async_wait(boost::asio::bind_executor(
            strand_, [self = shared_from_this()](boost::system::error_code const& ec, apple::device_event event) {
                self->completed(ec, std::move(event));
            }));
    }

    void completed(boost::system::error_code const& ec, apple::device_event event)
    {
        ++totals_->waits_completed;
        if (ec == boost::asio::error::operation_aborted)
        {
            ++totals_->aborted;
            return;
        }
        if (ec == apple::watch_errc::overflow)
        {
            // Events were dropped: the history can no longer be checked.
            ++totals_->overflows;
            checking_ = false;
        }
        else if (ec)
        {
            ++totals_->unexpected_errors;
            return;
        }
        else
            check(event);
        // The watcher was destroyed after this completion had its event.
        if (!watcher_)
            return;
        if (drop_after_ != 0 && --drop_after_ == 0)
        {
            watcher_.reset();
            ++totals_->destroyed_in_their_handlers;
            return;
        }
        wait();
    }

    void check(apple::device_event const& event)
    {
        bool const arrived = event.kind == apple::device_event::kind_type::arrived;
        ++(arrived ? totals_->arrivals : totals_->departures);
        if (!checking_)
            return;
        std::uint64_t id = 0;
        try
        {
            id = event.device.get_id();
        }
        catch (boost::system::system_error const&)
        {
            ++totals_->unexpected_errors;
            return;
        }
        bool const possible = arrived ? present_.insert(id).second : present_.erase(id) != 0;
        if (!possible)
            ++totals_->impossible_histories;
    }

    boost::asio::strand<boost::asio::io_context::executor_type> strand_;
    std::string class_name_;
    unsigned drop_after_;
    watcher_totals* totals_;
    std::optional<apple::device_watcher> watcher_;
    std::set<std::uint64_t> present_;
    bool checking_ = true;
    std::atomic<bool> started_{false};
};

} // namespace plinth::stress
