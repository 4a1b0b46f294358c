// hid_report_ring: adding a report under the overflow rule, taking the oldest.
#include "device/apple/detail/hid_report_ring.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include <unistd.h>

namespace plinth::apple::detail {
namespace {

// The machine's memory in bytes, or the most a size can say when the system does not tell.
std::size_t physical_memory()
{
    long const pages = sysconf(_SC_PHYS_PAGES);
    long const page_size = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || page_size <= 0 ||
        static_cast<std::size_t>(pages) > std::numeric_limits<std::size_t>::max() / static_cast<std::size_t>(page_size))
        return std::numeric_limits<std::size_t>::max();
    return static_cast<std::size_t>(pages) * static_cast<std::size_t>(page_size);
}

} // namespace

hid_report_ring::hid_report_ring(std::size_t capacity, std::size_t size, hid_queue_overflow rule)
    : slot_size(size), overflow(rule)
{
    // A ring larger than the machine's memory could never be filled. Refused here, it
    // never reaches the allocator, whose failure would throw std::bad_alloc (or end a
    // sanitized program).
    if (size != 0 && (capacity > std::numeric_limits<std::size_t>::max() / size || capacity * size > physical_memory()))
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
