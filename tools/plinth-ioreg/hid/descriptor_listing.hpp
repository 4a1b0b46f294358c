// The listing of a report descriptor: its items indented by collection with usage names, then its reports.
#pragma once

#include "hid/report_descriptor.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace plinth::ioreg_tool {

// What a device publishes of its reports' sizes ("MaxInputReportSize" and its kin),
// to set beside the sizes its descriptor gives.
struct published_report_sizes
{
    std::optional<int> input;
    std::optional<int> output;
    std::optional<int> feature;
};

// `bytes` must be what `descriptor` was parsed from. One line per item: offset, the
// item's bytes, its name and its data read as the item means it ("Usage Page (Generic
// Desktop)", "Input (Data, Variable, Absolute)"), indented by the collections open;
// then one line per report with its size in bytes beside the published one.
std::string format_descriptor_listing(std::span<std::uint8_t const> bytes,
                                      apple::hid_report_descriptor const& descriptor,
                                      published_report_sizes const& published);

// The same as data: "items" (offset, prefix, name, data, text, depth), "collections",
// "fields" and "reports".
nlohmann::ordered_json descriptor_listing_to_json(std::span<std::uint8_t const> bytes,
                                                  apple::hid_report_descriptor const& descriptor,
                                                  published_report_sizes const& published);

} // namespace plinth::ioreg_tool
