// The run loop of a thread: modes, sources, running, sleeping, waking and stopping.
#pragma once

#include "sim/detail/cf/cf_object.hpp"

#include <CoreFoundation/CFRunLoop.h>

#include <boost/container/small_vector.hpp>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace plinth::sim::detail {

class run_loop_source;
class run_loop_timer;

// A thread's run loop. All loops and sources share one mutex: their state is a few
// flags and lists, and the shared mutex lets a source leave every loop it is in
// without lock ordering. Callouts (perform, schedule, cancel, and the release of
// anything whose last reference goes) run with it released, so they may call back
// into any run-loop function.
class run_loop final : public cf_object
{
public:
    run_loop();
    ~run_loop() override;

    static CFTypeID class_type_id();
    static std::mutex& mutex();

    // The calling thread's loop, made on first use and released when the thread ends.
    static run_loop* current();
    static run_loop* main();

    CFRunLoopRunResult run_in_mode(CFStringRef mode, CFTimeInterval seconds, bool return_after_source_handled);
    void stop();
    void wake_up();
    bool is_waiting() const;
    // The mode of the innermost run (retained), or nullptr when not running.
    CFStringRef copy_current_mode() const;

    void add_source(run_loop_source* source, CFStringRef mode);
    void remove_source(run_loop_source* source, CFStringRef mode);
    bool contains_source(run_loop_source* source, CFStringRef mode) const;
    void add_common_mode(CFStringRef mode);

    // Takes a source out of every loop and mode it is in, with its cancel callouts.
    static void invalidate(run_loop_source* source);

    // A timer is in one loop at most, in any of its modes; adding it to another
    // loop does nothing. A loop running one of those modes fires it when due.
    void add_timer(run_loop_timer* timer, CFStringRef mode);
    void remove_timer(run_loop_timer* timer, CFStringRef mode);
    bool contains_timer(run_loop_timer* timer, CFStringRef mode) const;
    // The earliest next fire date of the mode's timers; 0 when it has none.
    CFAbsoluteTime next_timer_fire_date(CFStringRef mode) const;
    // Takes a timer out of its loop's modes and releases its context's info, as
    // Apple's does: an invalid timer never fires again.
    static void invalidate(run_loop_timer* timer);
    // Gives the timer a new fire date, and wakes the loop that holds it to wait anew.
    static void set_next_fire_date(run_loop_timer* timer, CFAbsoluteTime date);

    // Signals a valid source and wakes each loop that is running a mode the source
    // is in: what a message on a version-1 source's port does, which wakes only a
    // loop waiting on a port set that holds the port. A loop that runs such a mode
    // later performs the source on its first pass. Takes no reference and makes no
    // copy: a kernel object's source pays little per event.
    static void signal_and_wake_serving(run_loop_source* source);

    // Takes every source out of every mode, with cancel callouts: the thread that
    // owns the loop is ending.
    void thread_ended();

    std::string description() const override;

private:
    struct mode_state
    {
        CFStringRef name = nullptr;            // retained
        std::vector<run_loop_source*> sources; // retained
        std::vector<run_loop_timer*> timers;   // retained
    };
    struct activation
    {
        std::string const* mode; // a key of modes_, whose entries stay for the loop's life
        bool stopped = false;
    };
    // A schedule or cancel callout to make, and the reference to drop after it.
    struct callout
    {
        run_loop_source* source;
        run_loop* loop;
        CFStringRef mode;
    };
    // Adding or removing a source makes a callout or a few: kept inline, so that
    // scheduling a device in a mode and taking it out again allocates nothing.
    using callout_list = boost::container::small_vector<callout, 4>;
    using lock = std::unique_lock<std::mutex>;
    // Objects to release once the mutex is released: a timer's last release runs
    // its context's release callout.
    using release_list = boost::container::small_vector<cf_object const*, 4>;

    mode_state& mode_named(CFStringRef name, std::string const& key);
    void add_locked(run_loop_source* source, CFStringRef name, callout_list& callouts);
    void remove_locked(run_loop_source* source, std::string const& mode, callout_list& callouts);
    bool mode_is_empty(std::string const& mode) const;
    bool perform_ready_sources(lock& held, std::string const& mode, bool only_one);
    void add_timer_locked(run_loop_timer* timer, CFStringRef name);
    void remove_timer_locked(run_loop_timer* timer, std::string const& mode, release_list& released);
    static void* invalidate_locked(run_loop_timer* timer, release_list& released);
    void fire_due_timers(lock& held, std::string const& mode);
    // The earliest next fire date of the mode's valid timers, if it has any.
    std::optional<CFAbsoluteTime> earliest_fire(std::string const& mode) const;
    // When the wait of a run in `mode` that ends at `deadline` must end for a timer.
    std::chrono::steady_clock::time_point wait_end(std::string const& mode,
                                                   std::chrono::steady_clock::time_point deadline) const;
    void wake_if_running() noexcept;
    static void release_all(release_list const& released);
    static void run_callouts(callout_list const& callouts, bool schedule);

    std::map<std::string, mode_state> modes_;
    std::set<std::string> common_modes_;
    std::vector<run_loop_source*> common_items_; // not retained: each is in the common modes
    std::vector<run_loop_timer*> common_timers_; // not retained: each is in the common modes
    std::vector<activation*> activations_;
    std::condition_variable wake_;
    bool wake_pending_ = false;
    bool waiting_ = false;
};

// Whether a mode given to `function` is a string; false after a misuse report.
bool checked_mode(CFStringRef mode, char const* function);

} // namespace plinth::sim::detail
