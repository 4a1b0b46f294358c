// hid_report_batch: its room, made once, and the reports a batch read adds to it.
#include "device/apple/hid_report_batch.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

namespace plinth::apple {

hid_report_batch::hid_report_batch(std::size_t max_reports, std::size_t max_report_size) : slot_size(max_report_size)
{
    if (max_reports == 0 || max_report_size == 0)
        throw std::invalid_argument("hid_report_batch: room for no report (" + std::to_string(max_reports) +
                                    " reports of " + std::to_string(max_report_size) + " bytes)");
    if (max_reports > std::numeric_limits<std::size_t>::max() / max_report_size)
        throw std::length_error("hid_report_batch: too many reports of this size to hold");
    bytes.resize(max_reports * max_report_size);
    report_ids.resize(max_reports);
    lengths.resize(max_reports);
}

bool hid_report_batch::push_back(std::uint8_t report_id, std::span<std::uint8_t const> data) noexcept
{
    if (full())
        return false;
    auto const n = std::min(data.size(), slot_size);
    if (n != 0)
        std::memcpy(bytes.data() + count * slot_size, data.data(), n);
    report_ids[count] = report_id;
    lengths[count] = n;
    ++count;
    return true;
}

} // namespace plinth::apple
