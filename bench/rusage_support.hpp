// rusage_support: the process's and a thread's CPU time and context switches, read from getrusage.
#pragma once

// A benchmark that compares two ways of moving reports between threads counts
// what each costs the whole process, not only its wall time: the CPU time all
// its threads used (user and system) and how often they were switched out, as
// getrusage gives them, taken before and after a stretch of work.
#include <sys/resource.h>
#include <sys/time.h>

#include <cstdint>

namespace plinth::bench {

struct resource_usage
{
    double cpu_seconds = 0;
    // Voluntary (a thread waited) and involuntary (its time was up).
    std::int64_t context_switches = 0;

    resource_usage operator-(resource_usage const& before) const
    {
        return {cpu_seconds - before.cpu_seconds, context_switches - before.context_switches};
    }
    resource_usage& operator+=(resource_usage const& more)
    {
        cpu_seconds += more.cpu_seconds;
        context_switches += more.context_switches;
        return *this;
    }
};

namespace detail {

inline double seconds(timeval const& t)
{
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
}

inline resource_usage usage_of(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_nvcsw + usage.ru_nivcsw};
}

} // namespace detail

// Every thread of the process, those that have ended included.
inline resource_usage process_usage()
{
    return detail::usage_of(RUSAGE_SELF);
}

// The calling thread alone.
inline resource_usage thread_usage()
{
    return detail::usage_of(RUSAGE_THREAD);
}

} // namespace plinth::bench
