// hid_replay: the replayed device's entries and answers, and the player that posts its reports at their pace.
#include "sim/control/hid_replay.hpp"

#include "hid/report_descriptor.hpp"
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"
#include "sim/control/replay_registry.hpp"

#include <boost/system/error_code.hpp>

#include <stdexcept>
#include <string>

namespace plinth::sim {

// What the player thread, next(), the device's report observer and the owner
// share. The observer holds it weakly: it may run once the replay is gone.
struct hid_replay::state
{
    std::vector<apple::hid_recorded_report> reports;
    replay_options options;
    detail::replay_entries entries;
    bool numbered = false;

    std::mutex mutex;
    std::condition_variable changed;
    std::size_t played = 0;
    // Reports the device's clients have been handed (their callbacks about to run).
    std::size_t delivered = 0;
    bool started = false;
    bool stopping = false;
    bool done = false;
    std::chrono::steady_clock::time_point start;

    // Posts report `index`, its ID in its first byte when the device numbers its reports.
    void play(std::size_t index)
    {
        auto const& bytes = reports[index].bytes;
        post_input_report(entries.hid, numbered && !bytes.empty() ? bytes[0] : 0, bytes);
        std::lock_guard const lock(mutex);
        ++played;
        changed.notify_all();
    }

    // Waits, unless stopped first, until `ready` holds; false when stopped.
    template <typename Ready>
    bool wait_for(Ready ready)
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return stopping || ready(); });
        return !stopping;
    }

    void finish(bool wait_for_delivery)
    {
        if (options.remove_at_end && (!wait_for_delivery || wait_for([this] { return delivered >= played; })) &&
            !stopped_within(options.removal_delay))
            remove();
        std::lock_guard const lock(mutex);
        done = true;
        changed.notify_all();
    }

    // Whether stop() came within `delay`.
    bool stopped_within(std::chrono::nanoseconds delay)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, delay, [this] { return stopping; });
    }

    // Removes the device's entries that are still there. The program may remove
    // them itself at any time, also while this runs: one found gone is skipped.
    void remove() noexcept
    {
        for (auto const top : entries.tops)
            try
            {
                if (contains(top))
                    remove_entry(top);
            }
            catch (std::invalid_argument const&)
            {
            }
    }

    // Whether a client reads the device, checked every millisecond, as the
    // device's clients tell of none of their changes; false when stopped first.
    bool wait_for_reader()
    {
        std::unique_lock lock(mutex);
        while (hid_readers(entries.hid) == 0)
            if (changed.wait_for(lock, std::chrono::milliseconds(1), [this] { return stopping; }))
                return false;
        return true;
    }

    void run()
    {
        for (std::size_t i = 0; i < reports.size(); ++i)
        {
            if (options.pace == replay_pace::real_time)
            {
                std::unique_lock lock(mutex);
                if (changed.wait_until(lock, start + reports[i].time, [this] { return stopping; }))
                    return;
            }
            else if (i > 0 && !wait_for([&] { return delivered >= i; }))
                return;
            if (i == 0 && options.wait_for_reader && !wait_for_reader())
                return;
            play(i);
        }
        finish(true);
    }
};

hid_replay::hid_replay(apple::hid_recording const& recording, std::size_t index, replay_options options)
    : state_(std::make_shared<state>())
{
    if (index >= recording.devices.size())
        throw std::invalid_argument("the recording has no device " + std::to_string(index));
    auto const& device = recording.devices[index];
    state_->reports = device.inputs;
    state_->options = options;
    boost::system::error_code ec;
    auto const descriptor = apple::hid_report_descriptor::parse(device.descriptor, ec);
    state_->numbered = !ec && descriptor.numbers_reports();
    state_->entries = detail::add_replay_entries(device);
    try
    {
        for (auto const& [id, bytes] : device.feature_answers)
            set_feature_report(state_->entries.hid, id, bytes);
        set_input_report_observer(state_->entries.hid, [weak = std::weak_ptr<state>(state_)] {
            if (auto const s = weak.lock())
            {
                std::lock_guard const lock(s->mutex);
                ++s->delivered;
                s->changed.notify_all();
            }
        });
    }
    catch (...)
    {
        state_->remove();
        throw;
    }
}

hid_replay::~hid_replay()
{
    stop();
    try
    {
        if (contains(state_->entries.hid))
            set_input_report_observer(state_->entries.hid, {});
    }
    catch (std::invalid_argument const&)
    {
        // The device has left the registry already, its observer with it.
    }
    state_->remove();
}

entry_id hid_replay::device() const noexcept
{
    return state_->entries.hid;
}

void hid_replay::start()
{
    {
        std::lock_guard const lock(state_->mutex);
        if (state_->options.pace == replay_pace::stepped)
            throw std::logic_error("hid_replay::start: a stepped replay plays with next()");
        if (state_->started)
            throw std::logic_error("hid_replay::start: started already");
        state_->started = true;
        state_->start = std::chrono::steady_clock::now();
    }
    player_ = std::thread([s = state_] { s->run(); });
}

bool hid_replay::next()
{
    std::size_t index = 0;
    {
        std::lock_guard const lock(state_->mutex);
        if (state_->options.pace != replay_pace::stepped)
            throw std::logic_error("hid_replay::next: only a stepped replay plays with next()");
        if (!state_->started)
        {
            state_->started = true;
            state_->start = std::chrono::steady_clock::now();
        }
        index = state_->played;
        if (state_->done)
            return false;
    }
    if (index == state_->reports.size())
    {
        // The test has stepped past the last report: what it has not read yet
        // goes with the device, as with an unplug.
        state_->finish(false);
        return false;
    }
    state_->play(index);
    return true;
}

void hid_replay::stop()
{
    {
        std::lock_guard const lock(state_->mutex);
        state_->stopping = true;
        state_->changed.notify_all();
    }
    if (player_.joinable())
        player_.join();
}

bool hid_replay::wait_until_done(std::chrono::nanoseconds timeout)
{
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, timeout, [this] { return state_->done; });
}

std::chrono::steady_clock::time_point hid_replay::started_at() const
{
    std::lock_guard const lock(state_->mutex);
    return state_->start;
}

std::size_t hid_replay::played() const
{
    std::lock_guard const lock(state_->mutex);
    return state_->played;
}

} // namespace plinth::sim
