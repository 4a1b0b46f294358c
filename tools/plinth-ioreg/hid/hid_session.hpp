// hid_session: the HID device a command names, opened on a context of its own, and the thread that runs its handlers.
#pragma once

#include "device/apple/hid_open_mode.hpp"
#include "device/apple/hid_stream.hpp"
#include "log/log.hpp"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

namespace plinth::ioreg_tool {

// The library reports a device it cannot open through its log; the tool keeps the
// line to make it the error it reports.
class log_keeper
{
public:
    log_keeper();
    ~log_keeper();
    log_keeper(log_keeper const&) = delete;
    log_keeper& operator=(log_keeper const&) = delete;
    std::string const& last() const noexcept { return last_; }

private:
    std::string last_;
    log_sink previous_;
};

// Runs `io` until it runs out of work. A cancel of a read that was cancelled
// already (a repeated cancel, or close() after a cancel) posts a call that throws
// std::bad_function_call when run: the stream's documented behaviour, absorbed here.
void run_absorbing_empty_cancels(boost::asio::io_context& io);

// Runs a context's handlers on a thread of its own, so that a cancel completes
// while the main thread is blocked in a read; stops and joins it when destroyed,
// before the objects whose handlers it runs go.
class context_thread
{
public:
    explicit context_thread(boost::asio::io_context& io);
    ~context_thread();
    context_thread(context_thread const&) = delete;
    context_thread& operator=(context_thread const&) = delete;

private:
    boost::asio::io_context& io_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_;
    std::thread thread_;
};

// The HID device of registry entry `id`, opened in `mode` (with `queue`, when given)
// on a context of its own.
// Throws tool_error when the entry is no HID device or the device cannot be
// opened, saying why in words a user can act on: who holds it, or where to grant
// the permission that is missing.
class hid_session
{
public:
    hid_session(std::uint64_t id, apple::hid_open_mode mode, std::optional<apple::hid_read_queue> queue = {});

    std::uint64_t id() const noexcept { return id_; }
    // The bytes a read of one input report needs: the device's "MaxInputReportSize",
    // or 64 for a device that names none.
    std::size_t input_report_size() const;

    boost::asio::io_context io;
    std::optional<apple::hid_stream> stream;

private:
    std::uint64_t id_;
    log_keeper log_;
};

} // namespace plinth::ioreg_tool
