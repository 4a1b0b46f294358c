// hid read and hid write: opening the device a registry entry ID names on a stream, reading until a count or a signal, writing once.
#include "tools/plinth-ioreg/hid/hid_command.hpp"

#include "device/apple/hid_stream.hpp"
#include "error/apple/hid_errc.hpp"
#include "hid/report_descriptor.hpp"
#include "hid/usage_names.hpp"
#include "io_kit/io_hid_device.hpp"
#include "log/log.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/hid_describe.hpp"
#include "tools/plinth-ioreg/hid/hid_device_lookup.hpp"
#include "tools/plinth-ioreg/hid/hid_session.hpp"
#include "tools/plinth-ioreg/output/time_text.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/registry/registry_source.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include <atomic>
#include <cctype>
#include <charconv>
#include <csignal>
#include <functional>
#include <optional>
#include <thread>

namespace plinth::ioreg_tool {
namespace {

// What a queued read adds to the way it ended: how many reports its queue dropped.
std::string dropped_note(apple::hid_stream const& stream)
{
    auto const dropped = stream.dropped_reports();
    if (dropped == 0)
        return {};
    return fmt::format("; the read queue dropped {} report{}", dropped, dropped == 1 ? "" : "s");
}

std::string hex_bytes(std::span<std::uint8_t const> bytes, char const* separator)
{
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        text += fmt::format("{}{:02x}", i == 0 ? "" : separator, bytes[i]);
    return text;
}

} // namespace

std::optional<std::vector<std::uint8_t>> parse_hex_bytes(std::string const& text)
{
    std::string digits;
    for (char const c : text)
    {
        if (c == ' ' || c == ':')
            continue;
        if (std::isxdigit(static_cast<unsigned char>(c)) == 0)
            return std::nullopt;
        digits += c;
    }
    if (digits.empty() || digits.size() % 2 != 0)
        return std::nullopt;
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::optional<std::chrono::milliseconds> parse_write_timeout(std::string const& text)
{
    std::int64_t ms = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), ms);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || ms < 1 ||
        ms > longest_write_timeout.count())
        return std::nullopt;
    return std::chrono::milliseconds(ms);
}

std::string format_input_report(std::chrono::system_clock::time_point time, std::uint8_t report_id,
                                std::span<std::uint8_t const> bytes, bool as_json)
{
    if (as_json)
    {
        nlohmann::ordered_json object;
        object["time"] = utc_timestamp(time);
        object["report_id"] = report_id;
        object["bytes"] = {{"data", hex_bytes(bytes, "")}};
        return object.dump() + "\n";
    }
    return fmt::format("{}  id {}  {}\n", local_time_of_day(time), report_id, hex_bytes(bytes, " "));
}

std::string format_decoded_report(std::chrono::system_clock::time_point time, std::uint8_t report_id,
                                  std::span<apple::hid_value const> values, bool as_json)
{
    if (as_json)
    {
        auto array = nlohmann::ordered_json::array();
        for (auto const& value : values)
            array.push_back(
                {{"usage_page", value.usage.page},
                 {"usage", value.usage.id},
                 {"name", apple::hid_usage_label(value.usage)},
                 {"value", value.in_range ? nlohmann::ordered_json(value.logical) : nlohmann::ordered_json(nullptr)}});
        nlohmann::ordered_json object;
        object["time"] = utc_timestamp(time);
        object["report_id"] = report_id;
        object["values"] = std::move(array);
        return object.dump() + "\n";
    }
    std::string pairs;
    for (auto const& value : values)
        pairs += fmt::format("{}{} = {}", pairs.empty() ? "" : ", ", apple::hid_usage_label(value.usage),
                             value.in_range ? fmt::format("{}", value.logical) : std::string("none"));
    return fmt::format("{}  id {}  {}\n", local_time_of_day(time), report_id, pairs.empty() ? "-" : pairs);
}

int run_hid_read(options const& chosen, std::FILE* out)
{
    auto const prepared = prepare_registry(chosen.registries, chosen.replays);
    return read_hid_reports(chosen, out);
}

int run_hid_write(options const& chosen)
{
    auto const prepared = prepare_registry(chosen.registries, chosen.replays);
    return write_hid_report(chosen);
}

int read_hid_reports(options const& chosen, std::FILE* out)
{
    std::optional<apple::hid_read_queue> queue;
    if (chosen.queue)
        queue = apple::hid_read_queue{*chosen.queue, chosen.drop_oldest ? apple::hid_queue_overflow::drop_oldest
                                                                        : apple::hid_queue_overflow::drop_newest};
    hid_session session(*chosen.id, chosen.shared ? apple::hid_open_mode::shared : apple::hid_open_mode::seized, queue);
    auto& io = session.io;
    auto& stream = *session.stream;

    std::vector<std::uint8_t> buffer(session.input_report_size());

    // With --decode, the descriptor is read before the first report, so that a device
    // whose descriptor is missing or malformed fails at once, saying where.
    std::optional<apple::hid_report_descriptor> descriptor;
    if (chosen.decode)
        descriptor = read_report_descriptor(stream.get_device(), session.id());
    std::vector<apple::hid_value> values;

    // Ctrl-C cancels the pending read. A signal may come between two reads, when
    // there is none to cancel: the cancel is repeated until the loop has seen it.
    std::atomic<bool> stopping{false};
    boost::asio::signal_set signals(io, SIGINT, SIGTERM);
    boost::asio::steady_timer repeat(io);
    std::function<void()> keep_cancelling = [&] {
        stream.cancel();
        repeat.expires_after(std::chrono::milliseconds(20));
        repeat.async_wait([&](boost::system::error_code const& error) {
            if (!error)
                keep_cancelling();
        });
    };
    signals.async_wait([&](boost::system::error_code const& error, int) {
        if (error)
            return;
        stopping = true;
        keep_cancelling();
    });
    context_thread const handlers(io);

    std::size_t done = 0;
    while (!stopping && (!chosen.count || done < *chosen.count))
    {
        std::uint8_t report_id = 0;
        boost::system::error_code ec;
        auto const n = stream.read({&report_id, boost::asio::buffer(buffer)}, ec);
        if (ec == boost::asio::error::operation_aborted && stopping)
            break;
        if (ec)
            throw tool_error((stream.is_open() ? "reading failed: " + ec.message() : "the device was removed") +
                             dropped_note(stream));
        auto const now = std::chrono::system_clock::now();
        std::span<std::uint8_t const> const report(buffer.data(), n);
        std::string line;
        if (descriptor)
        {
            descriptor->decode(apple::hid_report_type::input, report_id, report, values, ec);
            line = ec ? format_input_report(now, report_id, report, chosen.json)
                      : format_decoded_report(now, report_id, values, chosen.json);
        }
        else
            line = format_input_report(now, report_id, report, chosen.json);
        if (std::fwrite(line.data(), 1, line.size(), out) != line.size() || std::fflush(out) != 0)
            throw tool_error("cannot write the output");
        ++done;
    }
    stream.close();
    // The reports printed went to the output; what the queue missed is said apart.
    if (auto const note = dropped_note(stream); !note.empty())
        std::fprintf(stderr, "plinth-ioreg: read %zu report%s%s\n", done, done == 1 ? "" : "s", note.c_str());
    return 0;
}

int write_hid_report(options const& chosen)
{
    hid_session session(*chosen.id, chosen.shared ? apple::hid_open_mode::shared : apple::hid_open_mode::seized);
    std::uint8_t report_id = 0;
    apple::basic_hid_report<boost::asio::const_buffer> const report{&report_id,
                                                                    boost::asio::buffer(chosen.output_report)};
    boost::system::error_code ec;
    if (chosen.write_timeout)
        session.stream->write(report, *chosen.write_timeout, ec);
    else
        session.stream->write(report, ec);
    if (chosen.write_timeout && ec == boost::asio::error::timed_out)
        throw tool_error(fmt::format("cannot write to HID device {}: timed out: the device did not answer within {} ms",
                                     format_entry_id(session.id()), chosen.write_timeout->count()));
    if (ec)
        throw tool_error(fmt::format("cannot write to HID device {}: {}", format_entry_id(session.id()), ec.message()));
    return 0;
}

} // namespace plinth::ioreg_tool
