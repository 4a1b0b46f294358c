// rusage_support: the CPU time and context switches of the process and of one thread, from getrusage and /proc.
#pragma once

// A benchmark that compares two ways of moving reports between threads counts
// what each costs the whole process, not only its wall time: the CPU time all
// its threads used (user and system) and how often they were switched out, as
// getrusage gives them, taken before and after a stretch of work; and the same
// for one thread, to tell where they went.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

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

// The calling thread's ID, by which thread_usage_of finds it.
inline int this_thread_id()
{
    return static_cast<int>(::syscall(SYS_gettid));
}

namespace detail {

// Reads a small /proc file into `buffer` without touching the heap, so that a
// benchmark that counts allocations can read it inside its window.
inline bool read_proc_file(char const* path, char* buffer, std::size_t size)
{
    int const fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    auto const n = ::read(fd, buffer, size - 1);
    ::close(fd);
    if (n <= 0)
        return false;
    buffer[n] = '\0';
    return true;
}

inline std::int64_t number_after(char const* text, char const* label)
{
    auto const* const found = std::strstr(text, label);
    return found == nullptr ? 0 : std::strtoll(found + std::strlen(label), nullptr, 10);
}

} // namespace detail

// One thread of this process, by its ID (this_thread_id()): its CPU time as the
// scheduler counts it and its context switches, read from /proc. Zero for a
// thread that has ended, or an ID of 0.
inline resource_usage thread_usage_of(int thread_id)
{
    if (thread_id == 0)
        return {};
    char path[64];
    char text[4096];
    resource_usage usage;
    std::snprintf(path, sizeof path, "/proc/self/task/%d/schedstat", thread_id);
    if (detail::read_proc_file(path, text, sizeof text))
        usage.cpu_seconds = static_cast<double>(std::strtoll(text, nullptr, 10)) * 1e-9;
    std::snprintf(path, sizeof path, "/proc/self/task/%d/status", thread_id);
    if (detail::read_proc_file(path, text, sizeof text))
        usage.context_switches = detail::number_after(text, "\nvoluntary_ctxt_switches:") +
                                 detail::number_after(text, "nonvoluntary_ctxt_switches:");
    return usage;
}

} // namespace plinth::bench
