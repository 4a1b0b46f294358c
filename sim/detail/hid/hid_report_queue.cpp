// The kernel's queue of one client's input reports, bounded in bytes as a Mac bounds it.
#include "sim/detail/hid/hid_report_queue.hpp"

#include <algorithm>
#include <cstring>
#include <limits>

namespace plinth::sim::detail {
namespace {

// Each entry carries IODataQueue's 4-byte size header and IOHIDElementValue's
// 20-byte header (cookie, flags and size, 64-bit timestamp, generation).
constexpr std::size_t entry_headers = 4 + 20;
// What stands in the queue for a report carried out of band: the simulation
// charges a 64-bit reference, the true size of which a Mac does not document.
constexpr std::size_t out_of_band_reference = 8;

} // namespace

std::size_t hid_report_queue::capacity_for(std::uint64_t buffer_count, std::uint64_t entry_size) noexcept
{
    // An entry size above the documented limit asks for nothing: the queue gets the minimum size.
    if (entry_size > max_entry_size)
        entry_size = 0;
    std::uint64_t asked = 0;
    if (entry_size != 0)
        asked = buffer_count > std::numeric_limits<std::uint64_t>::max() / entry_size
                    ? std::numeric_limits<std::uint64_t>::max()
                    : buffer_count * entry_size;
    // Without the custom-queue-size entitlement the kernel raises the size to
    // 16 384 bytes and caps it at 131 072.
    return static_cast<std::size_t>(std::clamp<std::uint64_t>(asked, min_capacity, max_capacity));
}

std::size_t hid_report_queue::entry_cost(std::size_t length) noexcept
{
    // A report of 8192 bytes or more is mapped separately; only a reference is queued.
    auto const payload = length >= out_of_band_size ? out_of_band_reference : length;
    // IOSharedDataQueue rounds every entry up to 4 bytes.
    return (entry_headers + payload + 3) & ~std::size_t{3};
}

hid_report_queue::hid_report_queue(std::size_t capacity) : capacity_(capacity), bytes_(capacity)
{
    static_assert(sizeof(record_header) <= entry_headers,
                  "the queue's own records must never need more room than the Mac's entries");
}

bool hid_report_queue::push(std::uint32_t report_id, std::span<std::uint8_t const> bytes)
{
    auto const cost = entry_cost(bytes.size());
    // A full queue drops the new report and keeps the older ones (IOSharedDataQueue::enqueue fails).
    if (cost > capacity_ - used_)
    {
        ++drops_;
        return false;
    }
    bool const out_of_band = bytes.size() >= out_of_band_size;
    record_header const header{report_id, static_cast<std::uint32_t>(bytes.size()), out_of_band};
    write(&header, sizeof header);
    if (out_of_band)
        out_of_band_.emplace_back(bytes.begin(), bytes.end());
    else
        write(bytes.data(), bytes.size());
    used_ += cost;
    ++entries_;
    return true;
}

std::optional<hid_report_queue::taken> hid_report_queue::pop(std::span<std::uint8_t> buffer)
{
    if (entries_ == 0)
        return std::nullopt;
    record_header header{};
    read(&header, sizeof header);
    auto const copied = std::min<std::size_t>(header.length, buffer.size());
    if (header.out_of_band)
    {
        if (copied != 0)
            std::memcpy(buffer.data(), out_of_band_.front().data(), copied);
        out_of_band_.pop_front();
    }
    else
    {
        std::copy_n(bytes_.begin(), copied, buffer.begin());
        bytes_.erase_begin(header.length);
    }
    used_ -= entry_cost(header.length);
    --entries_;
    return taken{header.report_id, header.length};
}

void hid_report_queue::clear() noexcept
{
    bytes_.clear();
    out_of_band_.clear();
    used_ = 0;
    entries_ = 0;
}

void hid_report_queue::write(void const* from, std::size_t n)
{
    auto const* const first = static_cast<std::uint8_t const*>(from);
    bytes_.insert(bytes_.end(), first, first + n);
}

void hid_report_queue::read(void* to, std::size_t n)
{
    std::copy_n(bytes_.begin(), n, static_cast<std::uint8_t*>(to));
    bytes_.erase_begin(n);
}

} // namespace plinth::sim::detail
