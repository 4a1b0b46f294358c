// hid_replay: a recorded HID device played back in the simulated registry, in real time, as fast as read, or stepped.
#pragma once

#include "hid/recording.hpp"
#include "sim/control/dump.hpp"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>

namespace plinth::sim {

// When a replay plays each report.
enum class replay_pace
{
    // At its recorded time, counted from start().
    real_time,
    // As soon as the report before it has reached the application (its report
    // callback is about to run), from start(); one that no client reads waits.
    as_fast_as_read,
    // When the program calls next(): a test steps through a recording without sleeping.
    stepped,
};

struct replay_options
{
    replay_pace pace = replay_pace::real_time;
    // Whether the device leaves the registry once its last report has reached
    // the application, as an unplug does: a read then pending ends with the removal.
    bool remove_at_end = false;
    // How long after the last report has reached the application the removal
    // comes. A program that hands reports from its callback to another thread
    // (most HID libraries do) needs a moment to take the last one before it
    // learns of the unplug; a person pulling the cable gives it far longer.
    std::chrono::nanoseconds removal_delay{0};
    // Whether the first report waits until a client reads the device (hid_readers),
    // so that a program that finds and opens the device after start() misses none.
    bool wait_for_reader = false;
};

// One device of a recording, added to the simulated registry and playing the
// reports it sent. The device is the recorded one: its registry entries when the
// recording has them (with new registry IDs, so that several replays of one
// recording are several devices), otherwise, for a recording made on Linux, a
// USB device (bus 3) or a virtual HID device (any other bus) built from its
// identity, name and descriptor. It answers feature-report requests as recorded;
// what clients send it is in output_reports() (hid.hpp), as for any device.
// Reports go to the device's clients as post_input_report gives them, through
// the kernel's queues: a slow reader finds them queued.
class hid_replay
{
public:
    // Adds device `index` of `recording` to the registry. Throws
    // std::invalid_argument for an index the recording has not, and
    // plinth::sim::dump_error when its recorded registry entries do not read.
    hid_replay(apple::hid_recording const& recording, std::size_t index, replay_options options = {});
    // Stops playing, and removes the device from the registry if it is still there.
    ~hid_replay();
    hid_replay(hid_replay const&) = delete;
    hid_replay& operator=(hid_replay const&) = delete;

    // The HID device's entry, whose clients get the reports.
    entry_id device() const noexcept;

    // Starts playing on a thread of the replay's own (real_time and as_fast_as_read).
    // Throws std::logic_error when stepped or started already.
    void start();
    // Plays the next report now (stepped); false, and the end's removal when asked
    // for, once none is left. Throws std::logic_error unless stepped.
    bool next();
    // Stops playing: the reports not yet played never are, and the device stays
    // in the registry as it is.
    void stop();
    // Waits until every report has been played (and the device removed, when
    // asked for); false if `timeout` came first.
    bool wait_until_done(std::chrono::nanoseconds timeout);
    // When start() began the replay: what the real-time pace counts from.
    std::chrono::steady_clock::time_point started_at() const;
    // How many reports have been played so far.
    std::size_t played() const;

private:
    struct state;
    std::shared_ptr<state> state_;
    std::thread player_;
};

} // namespace plinth::sim
