// The run loop: modes, sources, running, sleeping, waking and stopping.
#include "sim/detail/run_loop/run_loop.hpp"

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"
#include "sim/detail/run_loop/run_loop_source.hpp"
#include "sim/detail/run_loop/run_loop_timer.hpp"

#include <CoreFoundation/CFDate.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <tuple>

namespace plinth::sim::detail {
namespace {

using clock = std::chrono::steady_clock;

// Longer waits than this are "for ever" (a steady_clock time point cannot hold 1e10 s).
constexpr CFTimeInterval longest_wait_seconds = 1e9;

std::string const& key_of(CFStringRef mode)
{
    return static_cast<cf_string const*>(cf_object::from_ref(mode))->utf8();
}

bool is_common_modes(std::string const& key)
{
    return key == key_of(kCFRunLoopCommonModes);
}

void release_object(cf_object const* object)
{
    if (object->release())
        destroy_cf_object(object);
}

void release_object(CFStringRef name)
{
    release_object(cf_object::from_ref(name));
}

bool on_main_thread()
{
    return static_cast<pid_t>(::syscall(SYS_gettid)) == ::getpid();
}

std::mutex main_loop_mutex;
run_loop* main_loop = nullptr; // owned by the main thread's thread_loop

// Owns the calling thread's loop: at the thread's end the loop loses its sources
// (with their cancel callouts) and the thread's reference.
struct thread_loop
{
    run_loop* loop = nullptr;

    ~thread_loop()
    {
        if (loop == nullptr)
            return;
        {
            std::lock_guard guard(main_loop_mutex);
            if (main_loop == loop)
                main_loop = nullptr;
        }
        loop->thread_ended();
        release_object(loop);
    }
};

thread_local thread_loop this_thread_loop;

} // namespace

run_loop::run_loop() : cf_object(class_type_id(), false)
{
    common_modes_.insert(key_of(kCFRunLoopDefaultMode));
    mode_named(kCFRunLoopDefaultMode, key_of(kCFRunLoopDefaultMode));
}

run_loop::~run_loop()
{
    std::vector<run_loop_source*> sources;
    std::vector<run_loop_timer*> timers;
    std::vector<CFStringRef> names;
    {
        std::lock_guard guard(mutex());
        for (auto& [key, mode] : modes_)
        {
            for (auto* source : mode.sources)
            {
                std::erase_if(source->memberships, [this](auto const& m) { return m.loop == this; });
                sources.push_back(source);
            }
            for (auto* timer : mode.timers)
            {
                timer->loop = nullptr;
                timer->modes.clear();
                timers.push_back(timer);
            }
            names.push_back(mode.name);
        }
        modes_.clear();
    }
    for (auto* source : sources)
        release_object(source);
    for (auto* timer : timers)
        release_object(timer);
    for (auto name : names)
        release_object(name);
}

CFTypeID run_loop::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("CFRunLoop");
    return id;
}

std::mutex& run_loop::mutex()
{
    static std::mutex shared;
    return shared;
}

run_loop* run_loop::current()
{
    auto& mine = this_thread_loop;
    if (mine.loop == nullptr)
    {
        if (on_main_thread())
        {
            std::lock_guard guard(main_loop_mutex);
            if (main_loop == nullptr)
                main_loop = make_cf_object<run_loop>();
            mine.loop = main_loop;
        }
        else
            mine.loop = make_cf_object<run_loop>();
    }
    return mine.loop;
}

run_loop* run_loop::main()
{
    if (on_main_thread())
        return current();
    std::lock_guard guard(main_loop_mutex);
    if (main_loop == nullptr)
        main_loop = make_cf_object<run_loop>(); // adopted by the main thread's first current()
    return main_loop;
}

std::string run_loop::description() const
{
    std::ostringstream out;
    out << description_head() << "{modes = " << modes_.size() << "}";
    return out.str();
}

run_loop::mode_state& run_loop::mode_named(CFStringRef name, std::string const& key)
{
    auto [it, added] = modes_.try_emplace(key);
    if (added)
    {
        cf_object::from_ref(name)->retain();
        it->second.name = name;
    }
    return it->second;
}

bool run_loop::mode_is_empty(std::string const& mode) const
{
    auto it = modes_.find(mode);
    return it == modes_.end() || (it->second.sources.empty() && it->second.timers.empty());
}

void run_loop::add_locked(run_loop_source* source, CFStringRef name, callout_list& callouts)
{
    auto const& key = key_of(name);
    auto& mode = mode_named(name, key);
    if (std::find(mode.sources.begin(), mode.sources.end(), source) != mode.sources.end())
        return;
    source->retain(); // the mode's reference
    mode.sources.push_back(source);
    source->memberships.push_back({this, key});
    if (source->context().schedule == nullptr)
        return;
    // The callout holds its own references, since the source may leave before it runs.
    source->retain();
    retain();
    cf_object::from_ref(mode.name)->retain();
    callouts.push_back({source, this, mode.name});
}

void run_loop::remove_locked(run_loop_source* source, std::string const& key, callout_list& callouts)
{
    auto found = modes_.find(key);
    if (found == modes_.end())
        return;
    auto& mode = found->second;
    auto it = std::find(mode.sources.begin(), mode.sources.end(), source);
    if (it == mode.sources.end())
        return;
    mode.sources.erase(it);
    auto& memberships = source->memberships;
    memberships.erase(std::find_if(memberships.begin(), memberships.end(),
                                   [&](auto const& m) { return m.loop == this && m.mode == key; }));
    if (std::none_of(memberships.begin(), memberships.end(), [this](auto const& m) { return m.loop == this; }))
        std::erase(common_items_, source);
    // The mode's reference to the source goes to the cancel callout, which drops it.
    retain();
    cf_object::from_ref(mode.name)->retain();
    callouts.push_back({source, this, mode.name});
}

void run_loop::run_callouts(callout_list const& callouts, bool schedule)
{
    for (auto const& c : callouts)
    {
        auto const& context = c.source->context();
        auto* function = schedule ? context.schedule : context.cancel;
        if (function != nullptr)
            function(context.info, cf_ref<CFRunLoopRef>(c.loop), c.mode);
        release_object(c.source);
        release_object(c.mode);
        release_object(c.loop);
    }
}

void run_loop::add_source(run_loop_source* source, CFStringRef mode)
{
    callout_list callouts;
    {
        std::lock_guard guard(mutex());
        if (!source->valid)
            return;
        if (is_common_modes(key_of(mode)))
        {
            if (std::find(common_items_.begin(), common_items_.end(), source) == common_items_.end())
                common_items_.push_back(source);
            for (auto const& key : common_modes_)
                add_locked(source, modes_.at(key).name, callouts);
        }
        else
            add_locked(source, mode, callouts);
    }
    run_callouts(callouts, true);
}

void run_loop::remove_source(run_loop_source* source, CFStringRef mode)
{
    callout_list callouts;
    {
        std::lock_guard guard(mutex());
        auto const& key = key_of(mode);
        if (is_common_modes(key))
        {
            std::erase(common_items_, source);
            for (auto const& common : common_modes_)
                remove_locked(source, common, callouts);
        }
        else
            remove_locked(source, key, callouts);
    }
    run_callouts(callouts, false);
}

bool run_loop::contains_source(run_loop_source* source, CFStringRef mode) const
{
    std::lock_guard guard(mutex());
    auto const& key = key_of(mode);
    if (is_common_modes(key))
        return std::find(common_items_.begin(), common_items_.end(), source) != common_items_.end();
    auto it = modes_.find(key);
    return it != modes_.end() &&
           std::find(it->second.sources.begin(), it->second.sources.end(), source) != it->second.sources.end();
}

void run_loop::add_common_mode(CFStringRef mode)
{
    callout_list callouts;
    {
        std::lock_guard guard(mutex());
        auto const& key = key_of(mode);
        if (is_common_modes(key) || !common_modes_.insert(key).second)
            return;
        mode_named(mode, key);
        for (auto* source : common_items_)
            add_locked(source, mode, callouts);
        for (auto* timer : common_timers_)
            add_timer_locked(timer, mode);
    }
    run_callouts(callouts, true);
}

void run_loop::invalidate(run_loop_source* source)
{
    callout_list callouts;
    {
        std::lock_guard guard(mutex());
        if (!source->valid)
            return;
        source->valid = false;
        source->signalled = false;
        auto const memberships = source->memberships;
        for (auto const& m : memberships)
            m.loop->remove_locked(source, m.mode, callouts);
    }
    run_callouts(callouts, false);
}

void run_loop::signal_and_wake_serving(run_loop_source* source)
{
    std::lock_guard guard(mutex());
    if (!source->valid)
        return;
    source->signalled = true;
    for (auto const& m : source->memberships)
    {
        auto* const loop = m.loop;
        if (loop->activations_.empty() || *loop->activations_.back()->mode != m.mode || loop->wake_pending_)
            continue;
        // As wake_up(): notified with the mutex held.
        loop->wake_pending_ = true;
        loop->wake_.notify_one();
    }
}

void run_loop::thread_ended()
{
    callout_list callouts;
    release_list released;
    {
        std::lock_guard guard(mutex());
        for (auto& [key, mode] : modes_)
        {
            while (!mode.sources.empty())
                remove_locked(mode.sources.back(), key, callouts);
            while (!mode.timers.empty())
                remove_timer_locked(mode.timers.back(), key, released);
        }
        common_items_.clear();
        common_timers_.clear();
    }
    run_callouts(callouts, false);
    release_all(released);
}

bool run_loop::perform_ready_sources(lock& held, std::string const& mode, bool only_one)
{
    auto found = modes_.find(mode);
    if (found == modes_.end())
        return false;
    // Sources run in order of their order value, and in the order they were
    // added among equals; a pass that finds a few allocates nothing.
    struct ready_source
    {
        CFIndex order;
        std::size_t added;
        run_loop_source* source;
    };
    boost::container::small_vector<ready_source, 16> ready;
    for (auto* source : found->second.sources)
        if (source->valid && source->signalled)
            ready.push_back({source->order(), ready.size(), source});
    if (ready.empty())
        return false;
    std::sort(ready.begin(), ready.end(),
              [](auto const& a, auto const& b) { return std::tie(a.order, a.added) < std::tie(b.order, b.added); });
    for (auto const& r : ready)
        r.source->retain();
    bool handled = false;
    for (auto const& r : ready)
    {
        auto* const source = r.source;
        if (handled && only_one)
            break;
        // An earlier perform may have invalidated or performed this one.
        if (!source->valid || !source->signalled)
            continue;
        source->signalled = false;
        auto const perform = source->context().perform;
        void* const info = source->context().info;
        held.unlock();
        if (perform != nullptr)
            perform(info);
        held.lock();
        handled = true;
    }
    held.unlock();
    for (auto const& r : ready)
        release_object(r.source);
    held.lock();
    return handled;
}

CFRunLoopRunResult run_loop::run_in_mode(CFStringRef mode, CFTimeInterval seconds, bool return_after_source_handled)
{
    lock held(mutex());
    if (mode_is_empty(key_of(mode)))
        return kCFRunLoopRunFinished;
    // The loop's own copy of the name, which lives as long as the loop: the
    // caller's string need not outlive the run, and the run copies nothing.
    std::string const& key = modes_.find(key_of(mode))->first;
    auto const start = clock::now();
    auto const deadline = seconds <= 0
                              ? start
                              : start + std::chrono::duration_cast<clock::duration>(
                                            std::chrono::duration<double>(std::min(seconds, longest_wait_seconds)));
    activation me{&key};
    activations_.push_back(&me);
    CFRunLoopRunResult result = 0;
    while (result == 0)
    {
        // A timer that fires is no source handled: it does not end a run that
        // returns after one.
        fire_due_timers(held, key);
        bool const handled = perform_ready_sources(held, key, return_after_source_handled);
        // After a pass that ran a source, or in a single pass, the wait only polls:
        // it still takes a pending wake-up. Nor does a mode that its last timer
        // just left wait: the run is finished.
        if (!handled && seconds > 0 && !mode_is_empty(key))
        {
            waiting_ = true;
            wake_.wait_until(held, wait_end(key, deadline), [this] { return wake_pending_; });
            waiting_ = false;
        }
        wake_pending_ = false;
        if (handled && return_after_source_handled)
            result = kCFRunLoopRunHandledSource;
        else if (clock::now() >= deadline)
            result = kCFRunLoopRunTimedOut;
        else if (me.stopped)
            result = kCFRunLoopRunStopped;
        else if (mode_is_empty(key))
            result = kCFRunLoopRunFinished;
    }
    activations_.pop_back();
    if (activations_.empty())
        wake_pending_ = false;
    return result;
}

// Both notify with the mutex held: the loop's thread may end, and free the loop,
// as soon as it sees the flag, and the loop's destructor takes the mutex first.
void run_loop::stop()
{
    std::lock_guard guard(mutex());
    // A loop that is not running forgets the stop: the next run starts afresh.
    if (activations_.empty())
        return;
    activations_.back()->stopped = true;
    wake_pending_ = true;
    wake_.notify_one();
}

void run_loop::wake_up()
{
    std::lock_guard guard(mutex());
    if (activations_.empty())
        return;
    wake_pending_ = true;
    wake_.notify_one();
}

bool run_loop::is_waiting() const
{
    std::lock_guard guard(mutex());
    return waiting_;
}

CFStringRef run_loop::copy_current_mode() const
{
    std::lock_guard guard(mutex());
    if (activations_.empty())
        return nullptr;
    auto name = modes_.at(*activations_.back()->mode).name;
    cf_object::from_ref(name)->retain();
    return name;
}

bool checked_mode(CFStringRef mode, char const* function)
{
    return cf_checked<cf_string>(mode, function) != nullptr;
}

void run_loop::release_all(release_list const& released)
{
    for (auto const* object : released)
        release_object(object);
}

void run_loop::wake_if_running() noexcept
{
    if (activations_.empty() || wake_pending_)
        return;
    wake_pending_ = true;
    wake_.notify_one();
}

void run_loop::add_timer_locked(run_loop_timer* timer, CFStringRef name)
{
    auto const& key = key_of(name);
    auto& mode = mode_named(name, key);
    if (std::find(mode.timers.begin(), mode.timers.end(), timer) != mode.timers.end())
        return;
    timer->retain(); // the mode's reference
    mode.timers.push_back(timer);
    timer->loop = this;
    timer->modes.push_back(key);
}

void run_loop::remove_timer_locked(run_loop_timer* timer, std::string const& key, release_list& released)
{
    auto found = modes_.find(key);
    if (found == modes_.end())
        return;
    auto& timers = found->second.timers;
    auto it = std::find(timers.begin(), timers.end(), timer);
    if (it == timers.end())
        return;
    timers.erase(it);
    std::erase(timer->modes, key);
    if (timer->modes.empty())
    {
        timer->loop = nullptr;
        std::erase(common_timers_, timer);
    }
    released.push_back(timer);
}

void run_loop::add_timer(run_loop_timer* timer, CFStringRef mode)
{
    std::lock_guard guard(mutex());
    if (!timer->valid || (timer->loop != nullptr && timer->loop != this))
        return;
    if (is_common_modes(key_of(mode)))
    {
        if (std::find(common_timers_.begin(), common_timers_.end(), timer) == common_timers_.end())
            common_timers_.push_back(timer);
        for (auto const& key : common_modes_)
            add_timer_locked(timer, modes_.at(key).name);
    }
    else
        add_timer_locked(timer, mode);
    // A loop already waiting waits anew, up to the new timer's date.
    wake_if_running();
}

void run_loop::remove_timer(run_loop_timer* timer, CFStringRef mode)
{
    release_list released;
    {
        std::lock_guard guard(mutex());
        auto const& key = key_of(mode);
        if (is_common_modes(key))
        {
            std::erase(common_timers_, timer);
            for (auto const& common : common_modes_)
                remove_timer_locked(timer, common, released);
        }
        else
            remove_timer_locked(timer, key, released);
    }
    release_all(released);
}

bool run_loop::contains_timer(run_loop_timer* timer, CFStringRef mode) const
{
    std::lock_guard guard(mutex());
    auto const& key = key_of(mode);
    if (is_common_modes(key))
        return std::find(common_timers_.begin(), common_timers_.end(), timer) != common_timers_.end();
    auto it = modes_.find(key);
    return it != modes_.end() &&
           std::find(it->second.timers.begin(), it->second.timers.end(), timer) != it->second.timers.end();
}

CFAbsoluteTime run_loop::next_timer_fire_date(CFStringRef mode) const
{
    std::lock_guard guard(mutex());
    return earliest_fire(key_of(mode)).value_or(0);
}

std::optional<CFAbsoluteTime> run_loop::earliest_fire(std::string const& mode) const
{
    auto found = modes_.find(mode);
    std::optional<CFAbsoluteTime> earliest;
    if (found != modes_.end())
        for (auto const* timer : found->second.timers)
            if (timer->valid && (!earliest || timer->next_fire < *earliest))
                earliest = timer->next_fire;
    return earliest;
}

// Returns the context's info for the caller to release once the mutex is released.
void* run_loop::invalidate_locked(run_loop_timer* timer, release_list& released)
{
    if (!timer->valid)
        return nullptr;
    timer->valid = false;
    if (auto* const loop = timer->loop)
    {
        auto const modes = timer->modes;
        for (auto const& mode : modes)
            loop->remove_timer_locked(timer, mode, released);
        std::erase(loop->common_timers_, timer);
    }
    return timer->take_info();
}

void run_loop::invalidate(run_loop_timer* timer)
{
    release_list released;
    void* info = nullptr;
    {
        std::lock_guard guard(mutex());
        info = invalidate_locked(timer, released);
    }
    if (info != nullptr && timer->context().release != nullptr)
        timer->context().release(info);
    release_all(released);
}

void run_loop::set_next_fire_date(run_loop_timer* timer, CFAbsoluteTime date)
{
    std::lock_guard guard(mutex());
    if (!timer->valid)
        return;
    timer->next_fire = date;
    if (timer->loop != nullptr)
        timer->loop->wake_if_running();
}

void run_loop::fire_due_timers(lock& held, std::string const& mode)
{
    auto found = modes_.find(mode);
    if (found == modes_.end() || found->second.timers.empty())
        return;
    auto const now = CFAbsoluteTimeGetCurrent();
    // Due timers fire earliest first, and by their order among equal dates.
    boost::container::small_vector<run_loop_timer*, 8> due;
    for (auto* timer : found->second.timers)
        if (timer->valid && timer->next_fire <= now)
            due.push_back(timer);
    if (due.empty())
        return;
    std::stable_sort(due.begin(), due.end(), [](auto const* a, auto const* b) {
        return a->next_fire < b->next_fire || (a->next_fire == b->next_fire && a->order() < b->order());
    });
    for (auto* timer : due)
        timer->retain();
    release_list released;
    for (auto* timer : due)
    {
        // An earlier callout may have invalidated this one or moved its date.
        if (!timer->valid || timer->next_fire > now)
            continue;
        // Advanced first, so that the callout may set another date itself.
        timer->advance_past(now);
        auto const fire = timer->callout();
        void* const info = timer->context().info;
        held.unlock();
        if (fire != nullptr)
            fire(cf_ref<CFRunLoopTimerRef>(timer), info);
        held.lock();
        // A timer that does not repeat is done once it fired.
        if (!timer->repeats())
            if (void* const taken = invalidate_locked(timer, released); taken != nullptr)
            {
                held.unlock();
                if (timer->context().release != nullptr)
                    timer->context().release(taken);
                held.lock();
            }
    }
    held.unlock();
    release_all(released);
    for (auto* timer : due)
        release_object(timer);
    held.lock();
}

clock::time_point run_loop::wait_end(std::string const& mode, clock::time_point deadline) const
{
    auto const earliest = earliest_fire(mode);
    if (!earliest)
        return deadline;
    auto const seconds = std::clamp(*earliest - CFAbsoluteTimeGetCurrent(), 0.0, longest_wait_seconds);
    auto const due = clock::now() + std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(seconds));
    return std::min(due, deadline);
}

} // namespace plinth::sim::detail
