// hid_report_ring: a queued stream's reports, in fixed slots made at open, with its overflow rule and drop count.
#pragma once

#include "device/apple/hid_read_queue.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace plinth::apple::detail {

// The reports a queued stream holds for its readers, oldest first: `capacity`
// slots of `slot_size` bytes (the device's "MaxInputReportSize"), all made with
// the ring, so that adding and taking a report never allocates. A report that
// comes when every slot is taken drops one, the newest or the oldest as the
// stream was opened to, and is counted.
class hid_report_ring
{
public:
    // Throws std::length_error when capacity × slot_size is more than the machine's
    // memory, std::bad_alloc when the memory is there but cannot be had.
    hid_report_ring(std::size_t capacity, std::size_t slot_size, hid_queue_overflow overflow);

    bool empty() const noexcept { return count == 0; }
    std::size_t size() const noexcept { return count; }
    std::size_t capacity() const noexcept { return lengths.size(); }
    // Reports dropped since the ring was made.
    std::uint64_t drops() const noexcept { return dropped; }

    // Adds a report after the others, cut to the slot size; applies the overflow
    // rule when full.
    void push(std::uint8_t report_id, std::span<std::uint8_t const> report) noexcept;

    // The oldest report, which must be there; pop() forgets it.
    std::uint8_t front_id() const noexcept { return report_ids[head]; }
    std::span<std::uint8_t const> front() const noexcept { return {bytes.data() + head * slot_size, lengths[head]}; }
    void pop() noexcept;

    void clear() noexcept { head = count = 0; }

private:
    std::size_t slot_size;
    hid_queue_overflow overflow;
    std::size_t head = 0;
    std::size_t count = 0;
    std::uint64_t dropped = 0;
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> report_ids;
    std::vector<std::size_t> lengths;
};

} // namespace plinth::apple::detail
