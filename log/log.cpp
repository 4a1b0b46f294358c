// log: the sink behind a mutex, its default that writes to standard error, and a log() that never throws.
#include "log/log.hpp"

#include <cstdio>
#include <mutex>
#include <utility>

namespace plinth {
namespace {

void write_to_standard_error(log_level level, std::string_view message)
{
    std::fprintf(stderr, "plinth %s: %.*s\n", to_string(level), static_cast<int>(message.size()), message.data());
}

struct sink_holder
{
    std::mutex mutex;
    log_sink sink = write_to_standard_error;
};

sink_holder& holder()
{
    static sink_holder instance;
    return instance;
}

} // namespace

char const* to_string(log_level level) noexcept
{
    switch (level)
    {
    case log_level::debug: return "debug";
    case log_level::info: return "info";
    case log_level::error: return "error";
    }
    return "unknown";
}

void log(log_level level, std::string const& message) noexcept
{
    try
    {
        auto& h = holder();
        std::lock_guard lock(h.mutex);
        h.sink(level, message);
    }
    catch (...)
    {
        // The caller cannot act on a lost log line; dropping it is the only choice.
    }
}

log_sink set_log_sink(log_sink sink)
{
    auto& h = holder();
    std::lock_guard lock(h.mutex);
    if (!sink)
        sink = write_to_standard_error;
    return std::exchange(h.sink, std::move(sink));
}

} // namespace plinth
