// hid_recording_writer: the Linux recorder's lines, and what a Mac adds in comment lines others skip.
#include "hid/recording_writer.hpp"

#include "hid/detail/recording_syntax.hpp"

#include <fmt/format.h>
#include <fmt/ostream.h>
#include <fmt/ranges.h>

#include <span>

namespace plinth::apple {
namespace {

// "LEN HH HH …", as every line with bytes has them.
std::string counted_hex(std::span<std::uint8_t const> bytes)
{
    return fmt::format("{}{}{:02x}", bytes.size(), bytes.empty() ? "" : " ", fmt::join(bytes, " "));
}

std::string timestamp(std::chrono::microseconds time)
{
    auto const us = time.count();
    return fmt::format("{:06}.{:06}", us / 1'000'000, us % 1'000'000);
}

// A name or a path on one line, as the reader will read it back: a line break
// inside would start a line of its own, and carriage returns at its end are
// taken for a line end.
std::string one_line(std::string_view text)
{
    std::string line(text);
    for (auto& c : line)
        if (c == '\n')
            c = ' ';
    while (line.ends_with('\r'))
        line.pop_back();
    return line;
}

} // namespace

hid_recording_writer::hid_recording_writer(std::ostream& out) : out_(out) {}

void hid_recording_writer::comment(std::string_view text)
{
    while (true)
    {
        auto const end = text.find('\n');
        fmt::print(out_, "#{}{}\n", text.substr(0, end).empty() ? "" : " ", text.substr(0, end));
        if (end == std::string_view::npos)
            break;
        text.remove_prefix(end + 1);
    }
    out_.flush();
}

void hid_recording_writer::device(std::size_t index, hid_recorded_device const& header)
{
    current_.reset();
    select(index);
    fmt::print(out_, "R: {}\n", counted_hex(header.descriptor));
    fmt::print(out_, "N: {}\n", one_line(header.name));
    if (header.physical_path)
        fmt::print(out_, "P: {}\n", one_line(*header.physical_path));
    if (header.identity)
        fmt::print(out_, "I: {:x} {:04x} {:04x}\n", header.identity->bus, header.identity->vendor,
                   header.identity->product);
    std::string_view registry = header.registry;
    while (!registry.empty())
    {
        auto const end = registry.find('\n');
        fmt::print(out_, "{}{}: {}\n", detail::mac_line_prefix, detail::registry_kind, registry.substr(0, end));
        registry.remove_prefix(end == std::string_view::npos ? registry.size() : end + 1);
    }
    for (auto const& [id, bytes] : header.feature_answers)
        fmt::print(out_, "{}{}: {} {}\n", detail::mac_line_prefix, detail::feature_answer_kind, id, counted_hex(bytes));
    out_.flush();
}

void hid_recording_writer::input(std::size_t index, hid_recorded_report const& report)
{
    timed(index, "E", report);
}

void hid_recording_writer::output(std::size_t index, hid_recorded_report const& report)
{
    timed(index, fmt::format("{}{}", detail::mac_line_prefix, detail::output_kind), report);
}

void hid_recording_writer::feature(std::size_t index, hid_recorded_report const& report)
{
    timed(index, fmt::format("{}{}", detail::mac_line_prefix, detail::feature_kind), report);
}

void hid_recording_writer::select(std::size_t index)
{
    if (current_ == index)
        return;
    fmt::print(out_, "D: {}\n", index);
    current_ = index;
}

void hid_recording_writer::timed(std::size_t index, std::string_view kind, hid_recorded_report const& report)
{
    select(index);
    fmt::print(out_, "{}: {} {}\n", kind, timestamp(report.time), counted_hex(report.bytes));
    out_.flush();
}

} // namespace plinth::apple
