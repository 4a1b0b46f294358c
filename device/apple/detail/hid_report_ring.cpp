// hid_report_ring: adding a report under the overflow rule, taking the oldest.
#include "device/apple/detail/hid_report_ring.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace plinth::apple::detail {

hid_report_ring::hid_report_ring(std::size_t capacity, std::size_t size, hid_queue_overflow rule)
    : slot_size(size), overflow(rule)
{
    if (size != 0 && capacity > std::numeric_limits<std::size_t>::max() / size)
        throw std::length_error("hid_report_ring: too many reports of this size to hold");
    bytes.resize(capacity * size);
    report_ids.resize(capacity);
    lengths.resize(capacity);
}

void hid_report_ring::push(std::uint8_t report_id, std::span<std::uint8_t const> report) noexcept
{
    if (count == capacity())
    {
        ++dropped;
        if (overflow == hid_queue_overflow::drop_newest || count == 0)
            return;
        pop();
    }
    auto const slot = (head + count) % capacity();
    auto const n = std::min(report.size(), slot_size);
    if (n != 0)
        std::memcpy(bytes.data() + slot * slot_size, report.data(), n);
    report_ids[slot] = report_id;
    lengths[slot] = n;
    ++count;
}

void hid_report_ring::pop() noexcept
{
    head = (head + 1) % capacity();
    --count;
}

} // namespace plinth::apple::detail
