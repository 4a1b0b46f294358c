// hid_element_values: what the kernel keeps of one client's elements: their last values and the value callback's queue.
#include "sim/detail/hid/hid_element_values.hpp"

#include "sim/detail/kernel/absolute_time.hpp"

#include <algorithm>

namespace plinth::sim::detail {
namespace {

bool of_report(hid_element_info const& element, IOHIDReportType type, std::uint32_t report_id)
{
    if (element.report_id != report_id || !element.carries_value())
        return false;
    switch (type)
    {
    case kIOHIDReportTypeInput: return element.is_input();
    case kIOHIDReportTypeOutput: return element.type == kIOHIDElementTypeOutput;
    case kIOHIDReportTypeFeature: return element.type == kIOHIDElementTypeFeature;
    default: return false;
    }
}

} // namespace

std::uint64_t hid_element_values::now()
{
    return absolute_time_now();
}

void hid_element_values::attach(std::shared_ptr<hid_element_layout const> layout)
{
    if (layout_ || !layout)
        return;
    layout_ = std::move(layout);
    values_.assign(layout_->elements().size(), stored{});
}

hid_element_values::stored hid_element_values::value(std::uint32_t cookie) const
{
    return cookie < values_.size() ? values_[cookie] : stored{};
}

void hid_element_values::store(std::uint32_t cookie, std::span<std::uint8_t const> bytes, std::uint64_t timestamp)
{
    if (cookie < values_.size())
        values_[cookie] = {{bytes.begin(), bytes.end()}, timestamp};
}

bool hid_element_values::take_report(IOHIDReportType type, std::uint32_t report_id,
                                     std::span<std::uint8_t const> report, std::uint64_t timestamp, bool queueing,
                                     input_visitor const& each_input)
{
    if (!layout_)
        return false;
    bool const was_empty = queue_.empty();
    for (auto const& element : layout_->elements())
    {
        if (!of_report(element, type, report_id))
            continue;
        auto bytes = element.what == hid_element_info::kind::report_handler
                         ? std::vector<std::uint8_t>(report.begin(), report.end())
                         : hid_element_layout::read(element, report);
        auto& slot = values_[element.cookie];
        // A value never reported reads as zero: a first report of zero changes nothing.
        bool const changed = slot.bytes.empty() ? std::any_of(bytes.begin(), bytes.end(), [](auto b) { return b != 0; })
                                                : slot.bytes != bytes;
        bool const wanted = changed || (element.flags & kIOHIDElementFlagsRelativeMask) != 0 ||
                            element.what == hid_element_info::kind::report_handler;
        if (queueing && type == kIOHIDReportTypeInput && wanted && matched(element) &&
            queue_.size() < callback_queue_depth)
            queue_.push_back({element.cookie, bytes, timestamp});
        if (type == kIOHIDReportTypeInput && each_input)
            each_input(element.cookie, bytes, wanted);
        slot = {std::move(bytes), timestamp};
    }
    return was_empty && !queue_.empty();
}

std::vector<std::uint8_t> hid_element_values::build_report(IOHIDReportType type, std::uint32_t report_id) const
{
    std::vector<std::uint8_t> report(layout_ ? layout_->report_bytes(type, report_id) : 0, 0);
    if (report.empty())
        return report;
    if (report_id != 0)
        report[0] = static_cast<std::uint8_t>(report_id);
    for (auto const& element : layout_->elements())
        if (of_report(element, type, report_id) && !values_[element.cookie].bytes.empty())
            hid_element_layout::write(element, values_[element.cookie].bytes, report);
    return report;
}

void hid_element_values::set_matching(std::optional<std::vector<std::uint32_t>> cookies)
{
    queue_.clear();
    if (!cookies)
    {
        matching_.reset();
        return;
    }
    matching_.emplace(values_.size(), false);
    for (auto const cookie : *cookies)
        if (cookie < matching_->size())
            (*matching_)[cookie] = true;
}

std::optional<hid_element_values::queued> hid_element_values::take_queued()
{
    if (queue_.empty())
        return std::nullopt;
    auto front = std::move(queue_.front());
    queue_.pop_front();
    return front;
}

bool hid_element_values::matched(hid_element_info const& element) const
{
    if (matching_)
        return element.cookie < matching_->size() && (*matching_)[element.cookie];
    return element.type >= kIOHIDElementTypeInput_Misc && element.type <= kIOHIDElementTypeInput_ScanCodes;
}

} // namespace plinth::sim::detail
