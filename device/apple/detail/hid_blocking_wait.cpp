// hid_blocking_wait: tickets taken and given back, outcomes handed to the ticket they are for.
#include "device/apple/detail/hid_blocking_wait.hpp"

#include <algorithm>
#include <utility>

namespace plinth::apple::detail {

hid_blocking_wait::hid_blocking_wait()
{
    waiting.reserve(1);
}

hid_blocking_wait::ticket::ticket(std::shared_ptr<hid_blocking_wait> wait) : wait_(std::move(wait))
{
    std::lock_guard const lock(wait_->mutex);
    number_ = ++wait_->issued;
    wait_->waiting.push_back(this);
}

hid_blocking_wait::ticket::~ticket()
{
    std::lock_guard const lock(wait_->mutex);
    std::erase(wait_->waiting, this);
}

std::optional<hid_blocking_wait::outcome>
hid_blocking_wait::ticket::wait_until(std::chrono::steady_clock::time_point deadline)
{
    std::unique_lock lock(wait_->mutex);
    wait_->completed.wait_until(lock, deadline, [this] { return outcome_.has_value(); });
    return outcome_;
}

hid_blocking_wait::outcome hid_blocking_wait::ticket::wait()
{
    std::unique_lock lock(wait_->mutex);
    wait_->completed.wait(lock, [this] { return outcome_.has_value(); });
    return *outcome_;
}

bool hid_blocking_wait::ticket::done()
{
    std::lock_guard const lock(wait_->mutex);
    return outcome_.has_value();
}

void hid_blocking_wait::complete(std::uint64_t number, boost::system::error_code const& code, std::size_t n)
{
    bool alone = true;
    {
        std::lock_guard const lock(mutex);
        auto const it = std::find_if(waiting.begin(), waiting.end(), [&](ticket* t) { return t->number_ == number; });
        if (it == waiting.end())
            return;
        (*it)->outcome_.emplace(code, n);
        alone = waiting.size() == 1;
    }
    // Readers that wait together (overlapping reads, which leave the earlier one
    // blocked) each check their own ticket; a lone reader is woken alone, which
    // costs less than waking all.
    if (alone)
        completed.notify_one();
    else
        completed.notify_all();
}

} // namespace plinth::apple::detail
