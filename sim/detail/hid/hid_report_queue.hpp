// The kernel's queue of one client's input reports, bounded in bytes as a Mac bounds it.
#pragma once

#include <boost/circular_buffer.hpp>
#include <boost/container/deque.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace plinth::sim::detail {

// One client's input reports waiting for a run loop, oldest first, in a queue
// whose size is counted in bytes: what IOHIDLibUserClient makes for an
// IOHIDDeviceRef that registers a report callback (an IOSharedDataQueue shared
// with the process). Each report costs the queue's headers and its bytes; a
// report that does not fit is dropped and counted, and the older ones stay.
//
// The bytes live in one buffer made with the queue, so that adding and taking a
// report allocate nothing, except for the rare huge report that a Mac also
// carries out of band.
class hid_report_queue
{
public:
    // The queue's size bounds without the custom-queue-size entitlement
    // (HID_QUEUE_CAPACITY_MIN and _MAX).
    static constexpr std::size_t min_capacity = 16384;
    static constexpr std::size_t max_capacity = 131072;
    // The largest entry size a device or client may ask for; a larger one asks for
    // nothing.
    static constexpr std::uint64_t max_entry_size = 8167;
    // From this size on, a report travels in memory of its own (kIOHIDDefaultMaxReportSize).
    static constexpr std::size_t out_of_band_size = 8192;

    // The queue's size in bytes for "MaxReportBufferCount" and "ReportBufferEntrySize"
    // (0 when unset), within the bounds.
    static std::size_t capacity_for(std::uint64_t buffer_count, std::uint64_t entry_size) noexcept;
    // The bytes a report of `length` bytes takes in the queue.
    static std::size_t entry_cost(std::size_t length) noexcept;

    explicit hid_report_queue(std::size_t capacity);

    std::size_t capacity() const noexcept { return capacity_; }
    std::size_t entries() const noexcept { return entries_; }
    bool empty() const noexcept { return entries_ == 0; }
    // The reports that found the queue full, since it was made.
    std::uint64_t drops() const noexcept { return drops_; }

    // Adds a report after the others; false, counted, when it does not fit.
    bool push(std::uint32_t report_id, std::span<std::uint8_t const> bytes);

    struct taken
    {
        std::uint32_t report_id;
        std::size_t length; // the report's, which may exceed what was copied
    };
    // Takes the oldest report, copying as much of it as fits into `buffer`.
    std::optional<taken> pop(std::span<std::uint8_t> buffer);

    // Forgets every report; the drop count stays.
    void clear() noexcept;

private:
    struct record_header
    {
        std::uint32_t report_id;
        std::uint32_t length;
        bool out_of_band;
    };

    void write(void const* from, std::size_t n);
    void read(void* to, std::size_t n);

    std::size_t capacity_;
    std::size_t used_ = 0; // bytes, as the Mac counts them
    std::size_t entries_ = 0;
    std::uint64_t drops_ = 0;
    boost::circular_buffer<std::uint8_t> bytes_;
    boost::container::deque<std::vector<std::uint8_t>> out_of_band_;
};

} // namespace plinth::sim::detail
