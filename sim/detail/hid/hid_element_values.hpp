// hid_element_values: what the kernel keeps of one client's elements: their last values and the value callback's queue.
#pragma once

#include "sim/detail/hid/hid_element_layout.hpp"

#include <IOKit/hid/IOHIDDeviceTypes.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace plinth::sim::detail {

// The element values of one client: the last value of each element (what
// IOHIDDeviceGetValue reads without asking the device) and the queue the input
// value callback drains. Not locked itself: its client's lock guards it.
class hid_element_values
{
public:
    struct stored
    {
        std::vector<std::uint8_t> bytes; // empty until the device reported it, read as 0
        std::uint64_t timestamp = 0;
    };
    struct queued
    {
        std::uint32_t cookie = 0;
        std::vector<std::uint8_t> bytes;
        std::uint64_t timestamp = 0;
        // The last value queued from a report that went to no report callback:
        // delivering it is when that report reaches the application.
        bool ends_report = false;
    };

    // The value callback's internal queue holds this many values; more are dropped.
    static constexpr std::size_t callback_queue_depth = 20;

    // Now, as value time stamps count it: nanoseconds of a monotonic clock.
    static std::uint64_t now();

    // Once, with the layout of the device's descriptor.
    void attach(std::shared_ptr<hid_element_layout const> layout);
    std::shared_ptr<hid_element_layout const> const& layout() const noexcept { return layout_; }

    stored value(std::uint32_t cookie) const;
    void store(std::uint32_t cookie, std::span<std::uint8_t const> bytes, std::uint64_t timestamp);

    // A report of `type` the device sent or answered with: each element of it takes
    // its value from the report. For an input report, while `queueing`, the values of
    // the matched elements that changed (or are relative, or carry the whole report)
    // join the callback's queue. True when the queue went from empty to not empty.
    // `each_input` sees every input element's new value, and whether it changed by
    // that rule: decided once here for all the client's queues.
    using input_visitor = std::function<void(std::uint32_t cookie, std::span<std::uint8_t const> bytes, bool wanted)>;
    bool take_report(IOHIDReportType type, std::uint32_t report_id, std::span<std::uint8_t const> report,
                     std::uint64_t timestamp, bool queueing, input_visitor const& each_input = {});
    // A report of `type` and `report_id` made of the elements' stored values.
    std::vector<std::uint8_t> build_report(IOHIDReportType type, std::uint32_t report_id) const;

    // The elements the callback's queue takes, by cookie (nullopt: every input
    // element of types 1 to 4). Discards what is queued.
    void set_matching(std::optional<std::vector<std::uint32_t>> cookies);
    std::optional<queued> take_queued();
    bool has_queued() const noexcept { return !queue_.empty(); }
    std::size_t queued_count() const noexcept { return queue_.size(); }
    void mark_report_end()
    {
        if (!queue_.empty())
            queue_.back().ends_report = true;
    }
    void clear_queue() { queue_.clear(); }

private:
    bool matched(hid_element_info const& element) const;

    std::shared_ptr<hid_element_layout const> layout_;
    std::vector<stored> values_; // by cookie
    std::optional<std::vector<bool>> matching_;
    std::deque<queued> queue_;
};

} // namespace plinth::sim::detail
