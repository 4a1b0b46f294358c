// hid_report_requests: set and get report requests answered, timed out or aborted, and handed over for their callback.
#include "sim/detail/hid/hid_report_requests.hpp"

#include "sim/detail/hid/hid_hardware.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace plinth::sim::detail {

std::shared_ptr<hid_report_requests> hid_report_requests::create(std::shared_ptr<hid_hardware> hardware,
                                                                 std::function<void()> completed)
{
    std::shared_ptr<hid_report_requests> made(new hid_report_requests);
    made->hardware_ = std::move(hardware);
    made->completed_ = std::move(completed);
    return made;
}

hid_report_requests::~hid_report_requests()
{
    for (auto const* list : {&pending_, &late_})
        for (auto const& made : *list)
            for (auto const timer : made.timers)
                hid_request_clock::cancel(timer);
}

void hid_report_requests::submit_set(IOHIDReportType type, std::uint32_t report_id, std::uint8_t const* report,
                                     CFIndex length, std::chrono::milliseconds timeout, IOHIDReportCallback callback,
                                     void* context)
{
    // SetReport copies the bytes into the kernel at submission, so the caller's may
    // go at once; its callback gets the caller's pointer back, with length 0.
    std::vector<std::uint8_t> bytes(report, report + length);
    submit(
        {false, type, report_id, std::move(bytes), const_cast<std::uint8_t*>(report), 0, callback, context, {}, {}, {}},
        timeout);
}

void hid_report_requests::submit_get(IOHIDReportType type, std::uint32_t report_id, std::uint8_t* buffer,
                                     CFIndex length, std::chrono::milliseconds timeout, IOHIDReportCallback callback,
                                     void* context)
{
    submit({true, type, report_id, {}, buffer, length, callback, context, {}, {}, {}}, timeout);
}

void hid_report_requests::submit(request made, std::chrono::milliseconds timeout)
{
    made.submitted = clock::now();
    made.deadline = made.submitted + timeout;
    {
        std::lock_guard const lock(mutex_);
        pending_.push_back(std::move(made));
        auto const added = std::prev(pending_.end());
        // A removal that came between the caller's checks and here aborts it too.
        if (hardware_->is_removed())
            finish(added, kIOReturnAborted);
        // A device that answers at once needs no timer.
        else if (!settle(added, added->submitted, false))
        {
            // The kernel's timer completes the request at its deadline.
            added->timers.push_back(wake_at(added->deadline));
            if (auto const answer = hardware_->answer_time(added->submitted))
                added->timers.push_back(wake_at(*answer));
        }
    }
    completed_();
}

void hid_report_requests::answers_changed()
{
    {
        std::lock_guard const lock(mutex_);
        for (auto* const list : {&pending_, &late_})
            for (auto& made : *list)
                if (auto const answer = hardware_->answer_time(made.submitted))
                    made.timers.push_back(wake_at(*answer));
    }
    evaluate();
}

void hid_report_requests::abort_all()
{
    bool any = false;
    {
        std::lock_guard const lock(mutex_);
        // The device's termination aborts every request still pending.
        while (!pending_.empty())
        {
            finish(pending_.begin(), kIOReturnAborted);
            any = true;
        }
        for (auto const& made : late_)
            for (auto const timer : made.timers)
                hid_request_clock::cancel(timer);
        late_.clear();
    }
    if (any)
        completed_();
}

void hid_report_requests::evaluate()
{
    bool any = false;
    {
        std::lock_guard const lock(mutex_);
        auto const now = clock::now();
        for (auto it = pending_.begin(); it != pending_.end();)
        {
            auto const next = std::next(it);
            any = settle(it, now, true) || any;
            it = next;
        }
        for (auto it = late_.begin(); it != late_.end();)
        {
            auto const answer = hardware_->answer_time(it->submitted);
            if (answer && *answer <= now)
            {
                hardware_->record_output(it->type, it->report_id, std::move(it->bytes));
                for (auto const timer : it->timers)
                    hid_request_clock::cancel(timer);
                it = late_.erase(it);
            }
            else
                ++it;
        }
    }
    if (any)
        completed_();
}

bool hid_report_requests::settle(std::list<request>::iterator it, clock::time_point now, bool may_time_out)
{
    auto const answer = hardware_->answer_time(it->submitted);
    if (answer && *answer <= now)
    {
        IOReturn result = kIOReturnSuccess;
        if (!it->get)
            hardware_->record_output(it->type, it->report_id, it->bytes);
        // A device answers only for report IDs it has; the simulation gives one
        // error for the others, as the synchronous request does.
        else if (!hardware_->current_report(it->type, it->report_id, it->bytes))
            result = kIOReturnUnsupported;
        finish(it, result);
        return true;
    }
    if (!may_time_out || it->deadline > now)
        return false;
    // At the deadline the kernel completes the request with kIOReturnTimeout and
    // forgets it; the transfer itself goes on, so a sent report still reaches the
    // device when it answers, and a late answer to a get is discarded.
    if (!it->get)
    {
        late_.push_back(
            {false, it->type, it->report_id, it->bytes, nullptr, 0, nullptr, nullptr, it->submitted, it->deadline, {}});
        if (answer)
            late_.back().timers.push_back(wake_at(*answer));
    }
    finish(it, kIOReturnTimeout);
    return true;
}

hid_request_clock::timer_id hid_report_requests::wake_at(clock::time_point when)
{
    return hid_request_clock::call_at(when, [weak = weak_from_this()] {
        if (auto const self = weak.lock())
            self->evaluate();
    });
}

void hid_report_requests::finish(std::list<request>::iterator it, IOReturn result)
{
    for (auto const timer : it->timers)
        hid_request_clock::cancel(timer);
    it->timers.clear();
    done_.push_back({std::move(*it), result});
    pending_.erase(it);
}

bool hid_report_requests::has_completed() const
{
    std::lock_guard const lock(mutex_);
    return !done_.empty();
}

std::optional<hid_report_requests::completion> hid_report_requests::take_completed()
{
    std::lock_guard const lock(mutex_);
    if (done_.empty())
        return std::nullopt;
    auto made = std::move(done_.front());
    done_.pop_front();
    auto const& r = made.made;
    CFIndex length = 0;
    if (r.get && made.result == kIOReturnSuccess)
    {
        // The answer goes into the caller's buffer just before its callback, cut to
        // the buffer's length, which the callback then gets.
        auto const n = std::min(r.bytes.size(), static_cast<std::size_t>(std::max<CFIndex>(r.buffer_length, 0)));
        if (n != 0)
            std::memcpy(r.buffer, r.bytes.data(), n);
        length = static_cast<CFIndex>(n);
    }
    return completion{r.callback, r.context, made.result, r.type, r.report_id, r.buffer, length};
}

} // namespace plinth::sim::detail
