// hid_report_batch: a caller's buffer of whole input reports, filled by hid_stream::read_batch in one call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace plinth::apple {

// Room for up to max_reports input reports of up to max_report_size bytes each,
// made once by the caller and filled again by each batch read: a reader of a fast
// device takes everything its stream has queued in one call, and allocates
// nothing per report. A report longer than max_report_size keeps its first
// max_report_size bytes.
class hid_report_batch
{
public:
    struct report
    {
        std::uint8_t report_id;
        std::span<std::uint8_t const> bytes;
    };

    // Throws std::invalid_argument when either is 0, std::length_error when
    // their product does not fit in memory.
    hid_report_batch(std::size_t max_reports, std::size_t max_report_size);

    // The reports the last batch read gave, oldest first.
    std::size_t size() const noexcept { return count; }
    bool empty() const noexcept { return count == 0; }
    std::size_t max_reports() const noexcept { return lengths.size(); }
    std::size_t max_report_size() const noexcept { return slot_size; }
    report operator[](std::size_t i) const noexcept
    {
        return {report_ids[i], std::span<std::uint8_t const>(bytes.data() + i * slot_size, lengths[i])};
    }

    // Forgets the reports held.
    void clear() noexcept { count = 0; }
    // Adds a report after those held, cut to max_report_size; false when full.
    bool push_back(std::uint8_t report_id, std::span<std::uint8_t const> data) noexcept;
    bool full() const noexcept { return count == lengths.size(); }

private:
    std::size_t slot_size;
    std::size_t count = 0;
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> report_ids;
    std::vector<std::size_t> lengths;
};

} // namespace plinth::apple
