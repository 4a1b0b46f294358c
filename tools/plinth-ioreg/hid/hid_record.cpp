// hid record: the recording's header from the registry and the device, then reports from a chain of asynchronous reads.
#include "tools/plinth-ioreg/hid/hid_record.hpp"

#include "device/apple/device.hpp"
#include "hid/recording_writer.hpp"
#include "hid/report_descriptor.hpp"
#include "io_kit/io_registry_xml.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/hid/hid_session.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/registry/registry_source.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <fmt/format.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>

namespace plinth::ioreg_tool {
namespace {

template <typename T>
std::optional<T> property_of(apple::device const& d, char const* key)
{
    boost::system::error_code ec;
    if (auto const value = d.get_property_value(key, ec); value)
        if (auto const* held = std::get_if<T>(&value->content))
            return *held;
    return std::nullopt;
}

// The Linux recorder's bus numbers, from the transport a Mac names.
std::uint16_t bus_of(std::optional<std::string> const& transport)
{
    if (transport == "USB")
        return 3;
    if (transport && transport->starts_with("Bluetooth"))
        return 5;
    if (transport == "I2C")
        return 0x18;
    if (transport == "SPI")
        return 0x1c;
    return 6; // virtual: a transport Linux has no number for
}

// The HID service and the entries above it up to the device it is part of (a USB
// or Bluetooth device), the topmost first; the service alone when there is none.
std::vector<apple::io_kit::io_registry_entry> registry_chain(apple::device const& service)
{
    std::vector<apple::device> chain{service};
    for (auto parent = service.get_parent(plane::service); parent && chain.size() < 8;
         parent = parent.get_parent(plane::service))
    {
        chain.push_back(parent);
        for (char const* kind : {"IOUSBHostDevice", "IOUSBDevice", "IOBluetoothDevice"})
            if (parent.conforms_to_class(kind))
            {
                std::vector<apple::io_kit::io_registry_entry> entries;
                for (auto entry = chain.rbegin(); entry != chain.rend(); ++entry)
                    entries.push_back(entry->get_entry());
                return entries;
            }
    }
    return {service.get_entry()};
}

apple::hid_recorded_device header_of(apple::hid_stream& stream)
{
    auto const device = stream.get_device();
    apple::hid_recorded_device header;
    if (auto const descriptor = property_of<property::data>(device, "ReportDescriptor"))
        header.descriptor = *descriptor;
    header.name = property_of<std::string>(device, "Product").value_or(device.get_name());
    // The registry path stands for the Linux physical path; an entry outside the
    // IOService plane's tree has none.
    try
    {
        header.physical_path = device.get_path(plane::service);
    }
    catch (boost::system::system_error const&)
    {
    }
    auto const number = [&](char const* key) {
        auto const n = property_of<property::number>(device, key);
        return static_cast<std::uint16_t>(n ? n->as_unsigned() : 0);
    };
    header.identity = apple::hid_recorded_identity{bus_of(property_of<std::string>(device, "Transport")),
                                                   number("VendorID"), number("ProductID")};
    auto const chain = registry_chain(device);
    header.registry = apple::io_kit::registry_xml(chain, "IOService");
    // What the device answers for each feature report it defines, as far as it
    // answers: one it refuses is left out.
    boost::system::error_code ec;
    auto const descriptor = apple::hid_report_descriptor::parse(header.descriptor, ec);
    if (!ec)
        for (auto const& report : descriptor.reports())
            if (report.type == apple::hid_report_type::feature)
            {
                std::vector<std::uint8_t> bytes(std::max<std::size_t>(report.byte_size(), 1));
                std::uint8_t id = report.id;
                boost::system::error_code asked;
                auto const n = stream.get_feature_report({&id, boost::asio::buffer(bytes)}, asked);
                if (!asked)
                    header.feature_answers[report.id].assign(bytes.begin(), bytes.begin() + n);
            }
    return header;
}

// Where the recording goes: the file named, or `out`.
class recording_output
{
public:
    recording_output(std::optional<std::string> const& file, std::FILE* out)
    {
        if (!file)
        {
            out_ = out;
            return;
        }
        file_.open(*file, std::ios::binary | std::ios::trunc);
        if (!file_)
            throw tool_error(fmt::format("cannot write \"{}\": {}", *file, std::strerror(errno)));
    }

    std::ostream& stream() { return file_.is_open() ? static_cast<std::ostream&>(file_) : buffer_; }

    // Whole lines written to standard output as they come.
    void flush()
    {
        if (out_ == nullptr)
        {
            if (!file_)
                throw tool_error("cannot write the recording");
            return;
        }
        auto const text = buffer_.str();
        buffer_.str({});
        if (std::fwrite(text.data(), 1, text.size(), out_) != text.size() || std::fflush(out_) != 0)
            throw tool_error("cannot write the recording");
    }

private:
    std::FILE* out_ = nullptr;
    std::ofstream file_;
    std::ostringstream buffer_;
};

} // namespace

int run_hid_record(options const& chosen, std::FILE* out)
{
    auto const prepared = prepare_registry(chosen.registries, chosen.replays);
    return record_hid_reports(chosen, out);
}

int record_hid_reports(options const& chosen, std::FILE* out)
{
    hid_session session(*chosen.id, apple::hid_open_mode::shared);
    auto& io = session.io;
    auto& stream = *session.stream;
    recording_output output(chosen.output_file, out);
    apple::hid_recording_writer writer(output.stream());
    writer.comment(
        fmt::format("Recorded by plinth-ioreg hid record from registry entry {}", format_entry_id(session.id())));
    writer.device(0, header_of(stream));
    output.flush();

    std::vector<std::uint8_t> buffer(session.input_report_size());
    std::uint8_t report_id = 0;

    // Ctrl-C, or the time given, cancels the pending read: the chain of reads ends.
    bool stopping = false;
    boost::asio::signal_set signals(io, SIGINT, SIGTERM);
    boost::asio::steady_timer deadline(io);
    auto const stop = [&] {
        stopping = true;
        signals.cancel();
        deadline.cancel();
        stream.cancel();
    };
    signals.async_wait([&](boost::system::error_code const& error, int) {
        if (!error)
            stop();
    });
    if (chosen.record_time)
    {
        deadline.expires_after(*chosen.record_time);
        deadline.async_wait([&](boost::system::error_code const& error) {
            if (!error)
                stop();
        });
    }

    auto const start = std::chrono::steady_clock::now();
    std::size_t done = 0;
    std::optional<std::string> failure;
    std::function<void()> read_next = [&] {
        stream.async_read(
            {&report_id, boost::asio::buffer(buffer)}, [&](boost::system::error_code const& ec, std::size_t n) {
                if (ec)
                {
                    if (!(ec == boost::asio::error::operation_aborted && stopping))
                        failure = stream.is_open() ? "reading failed: " + ec.message()
                                                   : std::string("the device was removed");
                    stop();
                    return;
                }
                auto const time =
                    std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
                writer.input(0, {time, {buffer.begin(), buffer.begin() + static_cast<long>(n)}});
                output.flush();
                if (chosen.count && ++done == *chosen.count)
                {
                    stop();
                    return;
                }
                read_next();
            });
    };
    read_next();
    run_absorbing_empty_cancels(io);
    if (failure)
        throw tool_error(*failure);
    return 0;
}

} // namespace plinth::ioreg_tool
