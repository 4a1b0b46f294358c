// hid_queued_read: the wait, its ends, and the wake-ups the callbacks give.
#include "device/apple/detail/hid_queued_read.hpp"

#include "device/apple/detail/hid_pending_read.hpp"

#include <boost/asio/error.hpp>

#include <algorithm>

namespace plinth::apple::detail {

std::size_t hid_queued_read::wait(locked_data& locked, hid_service::data::read_target const& target,
                                  std::optional<std::chrono::steady_clock::time_point> deadline,
                                  boost::system::error_code& ec)
{
    auto& data = *locked;
    // Numbered only if cancel() comes: the number is what its posted release
    // finds the reader by.
    hid_service::data::queued_reader self;
    // A replaced read's handler may own anything but this stream, which the
    // caller uses: it is destroyed here, as a blocking read's replacing does.
    hid_pending_read(data).start_waiting(&self);
    data.queued_readers.push_back(&self);
    auto const is_current = [&] { return data.read_owner == &self; };
    auto const ready = [&] {
        return self.released ||
               (is_current() && !self.cancelled && (hid_pending_read(data).has_ready() || data.removal_unread));
    };
    bool const in_time = deadline ? locked.wait_until(data.queued_ready, *deadline, ready)
                                  : (locked.wait(data.queued_ready, ready), true);
    std::erase(data.queued_readers, &self);
    if (is_current())
        data.read_owner = nullptr;
    if (self.released)
    {
        // release_all() may be waiting for the last reader to leave.
        data.queued_ready.notify_all();
        ec = boost::asio::error::operation_aborted;
        return 0;
    }
    // Cancelled and not released yet: aborted whether or not anyone runs the
    // executor that holds its release.
    if (self.cancelled)
    {
        ec = boost::asio::error::operation_aborted;
        return 0;
    }
    if (!in_time)
    {
        ec = boost::asio::error::timed_out;
        return 0;
    }
    hid_pending_read pending(data);
    if (pending.has_ready())
    {
        ec = {};
        return pending.take_ready(target);
    }
    data.take_removal();
    ec = boost::asio::error::operation_aborted;
    return 0;
}

hid_service::data::queued_reader* hid_queued_read::current(hid_service::data& data) noexcept
{
    auto const it = std::find(data.queued_readers.begin(), data.queued_readers.end(), data.read_owner);
    return it == data.queued_readers.end() ? nullptr : *it;
}

std::uint64_t hid_queued_read::cancel(hid_service::data& data, hid_service::data::queued_reader& reader) noexcept
{
    reader.cancelled = true;
    if (reader.number == 0)
        reader.number = ++data.queued_readers_issued;
    return reader.number;
}

void hid_queued_read::release(hid_service::data& data, std::uint64_t number) noexcept
{
    for (auto* reader : data.queued_readers)
        if (reader->number == number)
        {
            reader->released = true;
            data.queued_ready.notify_all();
        }
}

void hid_queued_read::release_all(locked_data& locked, bool until_gone)
{
    auto& data = *locked;
    if (data.queued_readers.empty())
        return;
    for (auto* reader : data.queued_readers)
        reader->released = true;
    data.queued_ready.notify_all();
    if (until_gone)
        locked.wait(data.queued_ready, [&] { return data.queued_readers.empty(); });
}

void hid_queued_read::unlock_and_wake(locked_data& locked) noexcept
{
    auto& data = *locked;
    auto const waiting = data.queued_readers.size();
    auto* const ready = &data.queued_ready;
    locked.unlock();
    if (waiting == 1)
        ready->notify_one();
    else if (waiting > 1)
        ready->notify_all();
}

} // namespace plinth::apple::detail
