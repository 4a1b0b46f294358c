// hid_recording: reading a recording line by line, refusing bad content with its line, and writing one whole.
#include "hid/recording.hpp"

#include "hid/detail/recording_syntax.hpp"
#include "hid/recording_error.hpp"
#include "hid/recording_writer.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <sstream>
#include <utility>

namespace plinth::apple {
namespace {

// The longest time a recording may give: a hundred years is past any recording,
// and keeps the microseconds far inside their type.
constexpr std::uint64_t longest_seconds = 100ull * 366 * 24 * 3600;

// The fields of one line after its "K:", consumed from the left.
class fields
{
public:
    fields(std::size_t line, std::string_view rest) : line_(line), rest_(rest) {}

    [[noreturn]] void fail(std::string const& problem) const { throw hid_recording_error(line_, problem); }

    // The next field, which must be there: `what` names it in the error.
    std::string_view next(std::string_view what)
    {
        skip_spaces();
        if (rest_.empty())
            fail(fmt::format("the line ends before its {}", what));
        auto const end = std::min(rest_.find(' '), rest_.size());
        auto const field = rest_.substr(0, end);
        rest_.remove_prefix(end);
        return field;
    }

    bool at_end()
    {
        skip_spaces();
        return rest_.empty();
    }

    template <typename Number>
    Number number(std::string_view what, int base = 10)
    {
        auto const text = next(what);
        Number value{};
        auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
        if (error != std::errc() || end != text.data() + text.size())
            fail(fmt::format("bad {} '{}'", what, text));
        return value;
    }

    // SEC.USEC: seconds, a point, and up to six digits of fractions.
    std::chrono::microseconds time()
    {
        auto const text = next("time");
        auto const point = text.find('.');
        auto const seconds_text = text.substr(0, point);
        auto const fraction = point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
        std::uint64_t seconds = 0;
        std::uint64_t micros = 0;
        auto const digits = [](std::string_view s) {
            return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
        };
        if (point == std::string_view::npos || !digits(seconds_text) || !digits(fraction) || fraction.size() > 6 ||
            std::from_chars(seconds_text.data(), seconds_text.data() + seconds_text.size(), seconds).ec !=
                std::errc() ||
            seconds > longest_seconds)
            fail(fmt::format("bad time '{}': seconds.microseconds expected", text));
        std::from_chars(fraction.data(), fraction.data() + fraction.size(), micros);
        for (auto n = fraction.size(); n < 6; ++n)
            micros *= 10;
        return std::chrono::microseconds(static_cast<std::int64_t>(seconds * 1'000'000 + micros));
    }

    // LEN, then exactly LEN bytes of two hex digits each, to the end of the line.
    std::vector<std::uint8_t> counted_bytes()
    {
        auto const length = number<std::size_t>("length");
        std::vector<std::uint8_t> bytes;
        bytes.reserve(std::min<std::size_t>(length, rest_.size() / 2 + 1));
        while (!at_end())
        {
            auto const text = next("bytes");
            std::uint8_t byte = 0;
            auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), byte, 16);
            if (text.size() != 2 || error != std::errc() || end != text.data() + text.size())
                fail(fmt::format("bad hex byte '{}' (byte {})", text, bytes.size() + 1));
            bytes.push_back(byte);
        }
        if (bytes.size() != length)
            fail(fmt::format("the length says {} bytes, the line has {}", length, bytes.size()));
        return bytes;
    }

    // The rest of the line as it is, after the one space that follows the colon.
    std::string_view text()
    {
        if (!rest_.empty() && rest_.front() == ' ')
            rest_.remove_prefix(1);
        return std::exchange(rest_, {});
    }

private:
    void skip_spaces()
    {
        while (!rest_.empty() && rest_.front() == ' ')
            rest_.remove_prefix(1);
    }

    std::size_t line_;
    std::string_view rest_;
};

// The recording being read, and where each device stands.
class reader
{
public:
    hid_recording take() { return std::move(recording_); }

    void read(std::size_t line, std::string_view text)
    {
        line_ = line;
        bool const mac = text.starts_with(detail::mac_line_prefix);
        if (mac)
            text.remove_prefix(std::string_view(detail::mac_line_prefix).size());
        else if (text.starts_with('#'))
            return;
        // "K:" and the rest; anything else is a kind this reader does not know.
        if (text.size() < 2 || text[1] != ':')
            return;
        fields f(line, text.substr(2));
        auto const kind = text[0];
        if (mac)
            read_mac(f, kind);
        else
            read_linux(f, kind);
    }

    // A device that never got its descriptor cannot be replayed: named at its first line.
    void finish() const
    {
        for (std::size_t i = 0; i < states_.size(); ++i)
            if (!states_[i].has_descriptor)
                throw hid_recording_error(states_[i].first_line, fmt::format("device {} has no R: line", i));
    }

private:
    struct device_state
    {
        std::size_t first_line = 0;
        bool has_descriptor = false;
        std::chrono::microseconds last_time{0};
    };

    void read_linux(fields& f, char kind)
    {
        switch (kind)
        {
        case 'D': {
            auto const index = f.number<std::size_t>("device index");
            if (index > recording_.devices.size())
                f.fail(fmt::format("device {} comes before device {}", index, recording_.devices.size()));
            current_ = index;
            device();
            return;
        }
        case 'R': {
            auto& state = this->state();
            if (state.has_descriptor)
                f.fail(fmt::format("a second R: line for device {}", *current_));
            device().descriptor = f.counted_bytes();
            state.has_descriptor = true;
            return;
        }
        case 'N': device().name = f.text(); return;
        case 'P': device().physical_path = std::string(f.text()); return;
        case 'I': {
            hid_recorded_identity identity;
            identity.bus = f.number<std::uint16_t>("bus", 16);
            identity.vendor = f.number<std::uint16_t>("vendor", 16);
            identity.product = f.number<std::uint16_t>("product", 16);
            device().identity = identity;
            return;
        }
        case 'E': device().inputs.push_back(timed(f)); return;
        default: return;
        }
    }

    void read_mac(fields& f, char kind)
    {
        switch (kind)
        {
        case detail::registry_kind: {
            auto& registry = device().registry;
            registry += f.text();
            registry += '\n';
            return;
        }
        case detail::feature_answer_kind: {
            auto const id = f.number<std::uint8_t>("report ID");
            auto& answers = device().feature_answers;
            if (answers.contains(id))
                f.fail(fmt::format("a second answer for feature report {}", id));
            answers[id] = f.counted_bytes();
            return;
        }
        case detail::output_kind: device().outputs.push_back(timed(f)); return;
        case detail::feature_kind: device().features.push_back(timed(f)); return;
        default: return;
        }
    }

    // The device the line is about: the last D: line's, or device 0 in a file
    // of one device that has none.
    hid_recorded_device& device()
    {
        state();
        return recording_.devices[*current_];
    }

    device_state& state()
    {
        if (!current_)
            current_ = 0;
        if (*current_ == recording_.devices.size())
        {
            recording_.devices.emplace_back();
            states_.push_back({line_, false, {}});
        }
        return states_[*current_];
    }

    hid_recorded_report timed(fields& f)
    {
        auto& state = this->state();
        if (!state.has_descriptor)
            f.fail(fmt::format("a report before the R: line of device {}", *current_));
        hid_recorded_report report;
        report.time = f.time();
        if (report.time < state.last_time)
            f.fail(fmt::format("the time goes backwards, from {} µs to {} µs", state.last_time.count(),
                               report.time.count()));
        state.last_time = report.time;
        report.bytes = f.counted_bytes();
        return report;
    }

    std::size_t line_ = 0;
    hid_recording recording_;
    std::vector<device_state> states_;
    std::optional<std::size_t> current_;
};

} // namespace

hid_recording hid_recording::parse(std::string_view text)
{
    reader r;
    std::size_t line = 0;
    while (!text.empty())
    {
        ++line;
        auto const end = text.find('\n');
        auto content = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        // CRLF files, and lines a Windows tool ended twice: a carriage return is
        // never the last character of a name or a path.
        while (content.ends_with('\r'))
            content.remove_suffix(1);
        r.read(line, content);
    }
    r.finish();
    return r.take();
}

std::string hid_recording::format() const
{
    std::ostringstream out;
    hid_recording_writer writer(out);
    for (std::size_t i = 0; i < devices.size(); ++i)
        writer.device(i, devices[i]);
    // Every report of every device, by time; among equal times in the order of
    // the devices, then inputs, outputs and features, each in its own order.
    struct event
    {
        std::chrono::microseconds time;
        std::size_t device;
        int kind;
        std::size_t index;
    };
    std::vector<event> events;
    for (std::size_t d = 0; d < devices.size(); ++d)
    {
        auto const add = [&](std::vector<hid_recorded_report> const& reports, int kind) {
            for (std::size_t i = 0; i < reports.size(); ++i)
                events.push_back({reports[i].time, d, kind, i});
        };
        add(devices[d].inputs, 0);
        add(devices[d].outputs, 1);
        add(devices[d].features, 2);
    }
    std::stable_sort(events.begin(), events.end(), [](event const& a, event const& b) { return a.time < b.time; });
    for (auto const& e : events)
    {
        auto const& d = devices[e.device];
        if (e.kind == 0)
            writer.input(e.device, d.inputs[e.index]);
        else if (e.kind == 1)
            writer.output(e.device, d.outputs[e.index]);
        else
            writer.feature(e.device, d.features[e.index]);
    }
    return out.str();
}

} // namespace plinth::apple
