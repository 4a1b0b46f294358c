// hid_session: opening the device with the error a user can act on, and the handlers' thread.
#include "tools/plinth-ioreg/hid/hid_session.hpp"

#include "error/apple/hid_errc.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/hid_device_lookup.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"

#include <boost/asio/error.hpp>

#include <fmt/format.h>

#include <functional>

namespace plinth::ioreg_tool {
namespace {

std::string open_failure(apple::hid_stream const& stream, boost::system::error_code const& ec,
                         std::string const& logged)
{
    if (ec == apple::hid_errc::input_monitoring_denied)
        return ec.message() + " (grant it in System Settings > Privacy & Security > Input Monitoring)";
    if (ec == apple::hid_errc::seized_by_another)
    {
        if (auto const holder = stream.seizer())
            return "seized by " + holder->describe() + ", which has exclusive access until it closes the device";
        return ec.message();
    }
    if (ec)
        return ec.message();
    return logged.empty() ? "unknown error" : logged;
}

} // namespace

log_keeper::log_keeper()
    : previous_(set_log_sink([this](log_level, std::string_view line) { last_ = std::string(line); }))
{
}

log_keeper::~log_keeper()
{
    set_log_sink(previous_);
}

void run_absorbing_empty_cancels(boost::asio::io_context& io)
{
    for (;;)
    {
        try
        {
            io.run();
            return;
        }
        catch (std::bad_function_call const&)
        {
        }
    }
}

context_thread::context_thread(boost::asio::io_context& io)
    : io_(io), guard_(io.get_executor()), thread_([&io] { run_absorbing_empty_cancels(io); })
{
}

context_thread::~context_thread()
{
    guard_.reset();
    io_.stop();
    thread_.join();
}

hid_session::hid_session(std::uint64_t id, apple::hid_open_mode mode, std::optional<apple::hid_read_queue> queue)
    : id_(id)
{
    if (queue)
        stream.emplace(io.get_executor(), find_hid_device(id_), mode, *queue);
    else
        stream.emplace(io.get_executor(), find_hid_device(id_), mode);
    if (stream->is_open())
        return;
    // The constructor only logs why it failed; opening again gives the error
    // itself. It asks nothing of the user twice: the system keeps its Input
    // Monitoring answer for the device's handle, and a refused open holds nothing.
    // The stream keeps the queue it was made with for this open.
    boost::system::error_code ec;
    stream->open(mode, ec);
    if (!ec && stream->is_open())
        return;
    if (queue && ec == boost::asio::error::invalid_argument)
        throw tool_error(fmt::format("cannot open HID device {}: a read queue of {} reports does not fit in memory",
                                     format_entry_id(id_), queue->capacity));
    throw tool_error(
        fmt::format("cannot open HID device {}: {}", format_entry_id(id_), open_failure(*stream, ec, log_.last())));
}

std::size_t hid_session::input_report_size() const
{
    auto const named = stream->get_max_input_report_size();
    return named > 0 ? static_cast<std::size_t>(named) : 64;
}

} // namespace plinth::ioreg_tool
