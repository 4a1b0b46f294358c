// descriptor_parser: turns a report descriptor's items into collections, fields and reports.
#pragma once

#include "hid/collection.hpp"
#include "hid/item_reader.hpp"
#include "hid/detail/parser_state.hpp"
#include "hid/field.hpp"
#include "hid/report_info.hpp"
#include "hid/report_type.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace plinth::apple::detail {

// The largest report a descriptor may define, in bits (64 KiB, report ID byte aside).
inline constexpr std::uint64_t max_report_bits = std::uint64_t{64} * 1024 * 8;

struct parsed_descriptor
{
    std::vector<hid_collection> collections;
    std::vector<hid_field> fields;
    std::vector<hid_report_info> reports;
    bool numbered = false;
};

// One pass over the items; throws hid_descriptor_error at the first fault.
class descriptor_parser
{
public:
    explicit descriptor_parser(std::span<std::uint8_t const> bytes) noexcept : reader_(bytes) {}

    parsed_descriptor run() &&;

private:
    static constexpr std::size_t report_slots = 3 * 256;

    void on_main(hid_descriptor_item const& item);
    void on_global(hid_descriptor_item const& item);
    void on_local(hid_descriptor_item const& item);

    void add_field(hid_descriptor_item const& item, hid_report_type type);
    void open_collection(hid_descriptor_item const& item);
    void close_collection(hid_descriptor_item const& item);
    void set_usage_bound(hid_descriptor_item const& item, std::optional<usage_bound>& bound);
    // At a Main item: a lone Usage Minimum or Maximum is a fault.
    void check_usage_bounds() const;
    void collect_reports();

    [[noreturn]] static void fail(std::size_t offset, std::uint8_t prefix, std::string problem);
    [[noreturn]] static void fail(hid_descriptor_item const& item, std::string problem)
    {
        fail(item.offset, item.prefix, std::move(problem));
    }

    struct open_collection_item
    {
        std::size_t index = 0; // in the collections
        std::size_t offset = 0;
        std::uint8_t prefix = 0;
    };

    hid_item_reader reader_;
    global_state global_;
    std::vector<global_state> pushed_;
    local_state local_;
    std::vector<open_collection_item> open_collections_;
    // The bits each (type, report ID) has so far, and whether a Main item made it.
    std::array<std::uint64_t, report_slots> report_bits_{};
    std::array<bool, report_slots> report_defined_{};
    parsed_descriptor result_;
};

} // namespace plinth::apple::detail
