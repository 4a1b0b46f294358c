// hid_service: the HID streams' records, the kept report and removal rules, and shutdown aborting pending reads.
#include "device/apple/detail/hid_service.hpp"

#include "device/apple/detail/hid_pending_read.hpp"
#include "device/apple/detail/hid_queued_read.hpp"

#include <boost/asio/error.hpp>

#include <algorithm>
#include <mutex>
#include <utility>

namespace plinth::apple::detail {

hid_service::data::data(io_kit::io_hid_device d) : device(std::move(d)) {}

void hid_service::data::withdraw_read() noexcept
{
    pending_read.reset();
    read_token.reset();
    read_owner = nullptr;
    read_withdrawn = true;
}

bool hid_service::data::keep_unread(std::uint8_t report_id, std::uint8_t const* report, std::size_t length)
{
    if (unread.size() >= unread_limit)
        return false;
    auto const kept = std::min(report_buffer.size(), length);
    unread.push_back(unread_report{report_id, {report, report + kept}});
    return true;
}

bool hid_service::data::take_removal() noexcept
{
    if (!std::exchange(removal_unread, false))
        return false;
    opened = false;
    return true;
}

hid_service::hid_service(boost::asio::execution_context& owner) : run_loop_service(owner) {}

hid_service::~hid_service()
{
    streams.clear();
}

hid_service::iterator hid_service::make_data(io_kit::io_hid_device device)
{
    streams.emplace_front(std::move(device));
    auto& made = streams.front();
    made.lock()->alive->current = &made;
    return streams.begin();
}

void hid_service::erase_data(iterator it) noexcept
{
    // A reader still waiting for the stream's queue (a caller's read on another
    // thread, or one that a later read replaced) ends, and is gone from the
    // record's mutex, before the record is.
    auto const life = it->lock()->alive;
    {
        std::lock_guard const guard(life->mutex);
        life->current = nullptr;
    }
    {
        auto locked = it->lock();
        hid_queued_read::release_all(locked, true);
    }
    streams.erase(it);
}

bool hid_service::is_shutting_down() const noexcept
{
    return shutting_down.load();
}

void hid_service::shutdown() noexcept
{
    shutting_down.store(true);
    for (auto& stream : streams)
    {
        // Called once the record's lock, held for the taking alone, is released.
        hid_pending_read::completion handler;
        std::vector<hid_pending_read::completion> requests;
        {
            auto locked = stream.lock();
            handler = hid_pending_read(*locked).take_handler();
            hid_queued_read::release_all(locked, false);
            for (auto& request : locked->requests)
                if (request.handler)
                    requests.push_back(std::move(request.handler));
        }
        if (handler)
            handler(boost::asio::error::operation_aborted, 0);
        // A request's handler is destroyed uncalled, as the context does with the
        // handlers it will never run; a blocking caller then learns operation_aborted.
        requests.clear();
    }
    run_loop_service::shutdown();
}

} // namespace plinth::apple::detail
