// hid_report_info: one report a descriptor defines, by type and report ID.
#pragma once

#include "hid/report_type.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace plinth::apple {

struct hid_report_info
{
    hid_report_type type = hid_report_type::input;
    std::uint8_t id = 0;             // 0: the descriptor numbers no reports
    std::uint32_t bit_size = 0;      // the fields' bits, padding included, report ID byte excluded
    std::vector<std::size_t> fields; // indices in hid_report_descriptor::fields(), in bit order

    // The bytes the report takes on the wire, its report ID byte included: what a
    // device publishes as "MaxInputReportSize" and its kin for its largest report.
    std::size_t byte_size() const noexcept { return (bit_size + 7) / 8 + (id != 0 ? 1 : 0); }

    friend bool operator==(hid_report_info const&, hid_report_info const&) = default;
};

} // namespace plinth::apple
