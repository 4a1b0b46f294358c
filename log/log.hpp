// log: the library's one logging call, plinth::log, and the replaceable sink it hands lines to.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace plinth {

enum class log_level : int
{
    debug = 0,
    info = 1,
    error = 2,
};

char const* to_string(log_level level) noexcept;

// Receives one finished message line. A sink may be called from any thread, but
// never from two at once.
using log_sink = std::function<void(log_level, std::string_view)>;

// Hands one finished message line to the sink. Never throws: it is called from
// destructors and IOKit callbacks, so a failing sink loses the line, not the caller.
void log(log_level level, std::string const& message) noexcept;

// Replaces the sink and returns the one it replaces. An empty sink restores the
// default, which writes "plinth <level>: <message>" lines to standard error.
log_sink set_log_sink(log_sink sink);

} // namespace plinth
