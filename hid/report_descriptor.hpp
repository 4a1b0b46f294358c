// hid_report_descriptor: a device's report descriptor parsed into collections, fields and
// reports, and the decoding and building of reports by usage. A value type with no I/O.
#pragma once

#include "hid/collection.hpp"
#include "hid/descriptor_error.hpp"
#include "hid/field.hpp"
#include "hid/report_info.hpp"
#include "hid/report_type.hpp"
#include "hid/usage.hpp"
#include "hid/value.hpp"

#include <boost/system/error_code.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace plinth::apple {

class hid_report_descriptor
{
public:
    // An empty descriptor: no collections, no fields, no reports.
    hid_report_descriptor() = default;

    // Parses the bytes of a "ReportDescriptor" property (or any descriptor). Throws
    // hid_descriptor_error (hid_errc::bad_report_descriptor) naming the byte offset
    // and the item of the first fault.
    static hid_report_descriptor parse(std::span<std::uint8_t const> bytes);
    // As above; a fault sets `ec` and, when `problem` is given, says where.
    static hid_report_descriptor parse(std::span<std::uint8_t const> bytes, boost::system::error_code& ec,
                                       hid_descriptor_problem* problem = nullptr);

    // In the descriptor's order; a field's `collection` and a collection's `parent`
    // index this list.
    std::vector<hid_collection> const& collections() const noexcept { return collections_; }
    // In the descriptor's order, padding included.
    std::vector<hid_field> const& fields() const noexcept { return fields_; }
    // Ordered by type, then report ID.
    std::vector<hid_report_info> const& reports() const noexcept { return reports_; }
    // Whether the descriptor has Report ID items (then every report starts with its ID byte).
    bool numbers_reports() const noexcept { return numbered_; }

    // The report of that type and ID; nullptr when the descriptor defines none.
    hid_report_info const* report(hid_report_type type, std::uint8_t id) const noexcept;
    // The largest report of a type in bytes, report ID byte included (0 when none):
    // what the device should publish as "MaxInputReportSize", "MaxOutputReportSize"
    // and "MaxFeatureReportSize".
    std::size_t max_report_size(hid_report_type type) const noexcept;

    // The first item (in descriptor order) of a field of `type` that carries `usage`,
    // within collection `collection` or one nested in it when given. For an array
    // field, the field whose usages include `usage`. A lookup in an index made by
    // parse(), not a scan of the fields.
    std::optional<hid_field_ref> find(hid_report_type type, hid_usage usage,
                                      std::optional<std::size_t> collection = std::nullopt) const noexcept;

    // Decodes a report as IOKit delivers it (its report ID byte first when the
    // descriptor numbers its reports) into `out`, which is cleared first and whose
    // capacity is kept, so that a reused vector allocates nothing after the first
    // report. Padding is left out. A variable field gives one value per item; an
    // array field one value per item that selects a usage other than 0 (the keys
    // held, in report order). Throws system_error (hid_errc::report_mismatch) when
    // the descriptor defines no such report or `report` is shorter than it, or its
    // first byte is not `report_id`.
    void decode(hid_report_type type, std::uint8_t report_id, std::span<std::uint8_t const> report,
                std::vector<hid_value>& out) const;
    void decode(hid_report_type type, std::uint8_t report_id, std::span<std::uint8_t const> report,
                std::vector<hid_value>& out, boost::system::error_code& ec) const;

    // One item's logical value in `report` (laid out as for decode()), sign-extended
    // when its field's logical minimum is negative. For an array field's ref, the
    // usage's presence: 1 when an item of the field selects the ref's usage, else 0.
    // Throws system_error: report_mismatch as decode() does; invalid_argument for a
    // ref to no item of this descriptor.
    std::int32_t read(hid_field_ref where, std::span<std::uint8_t const> report) const;
    // The value of `usage` in an input report (or another type), or nullopt when no
    // field of that report carries it.
    std::optional<std::int32_t> value(hid_report_type type, hid_usage usage,
                                      std::span<std::uint8_t const> report) const;

    // A report of that type and ID, all zeros, its report ID byte set when numbered,
    // of byte_size() bytes. Throws system_error (report_mismatch) when undefined.
    std::vector<std::uint8_t> make_report(hid_report_type type, std::uint8_t id) const;
    // Writes exactly the item's bits of `report` and leaves every other bit as given.
    // Throws system_error: report_mismatch as for read(); invalid_argument when the
    // value does not fit the item's bits (signed when the field is signed). For an
    // array field's ref, sets the usage's presence as set() does.
    void write(hid_field_ref where, std::int32_t logical, std::span<std::uint8_t> report) const;
    // Sets `usage` to `logical` in a report of its field's type and ID; throws
    // system_error (no_such_usage) when no field of that type carries it. For an array
    // field, a non-zero `logical` puts the usage in the first empty item (unless an
    // item holds it already; no_buffer_space when none is empty) and 0 takes it out
    // of every item that holds it.
    void set(hid_report_type type, hid_usage usage, std::int32_t logical, std::span<std::uint8_t> report) const;

    friend bool operator==(hid_report_descriptor const&, hid_report_descriptor const&) = default;

private:
    // One usage range of a field, as find() looks it up. For a variable field, the
    // range cut to the items the field has, `first_item` the item that carries
    // `first`; for an array field, the range cut to the values its logical range can
    // hold, `first_item` the position of `first` among the field's usages. Ranges,
    // not items, so that the index grows with the descriptor, not with its reports.
    struct usage_index_entry
    {
        hid_report_type type = hid_report_type::input;
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        // The largest `last` of this entry and of those before it of its type: a
        // lookup walks back from its usage only while a range can still hold it.
        std::uint32_t reach = 0;
        std::size_t field = 0;
        std::uint32_t first_item = 0;

        friend bool operator==(usage_index_entry const&, usage_index_entry const&) = default;
    };

    void index_usages();
    // find(), limited to the fields of one report when `report_id` is given.
    std::optional<hid_field_ref> find_in(hid_report_type type, hid_usage usage, std::optional<std::size_t> collection,
                                         std::optional<std::uint8_t> report_id) const noexcept;
    bool is_within(std::size_t collection, std::size_t ancestor) const noexcept;
    // The report `report` should be, checked against the descriptor: nullptr (and,
    // with `why`, what is wrong) when it is undefined, too short or of another ID.
    hid_report_info const* checked_report(hid_report_type type, std::uint8_t id, std::span<std::uint8_t const> report,
                                          std::string* why) const;
    hid_field const& checked_field(hid_field_ref where) const;
    // For an array field: the value that makes an item select no usage.
    std::int32_t empty_array_value(hid_field const& field) const;
    void write_presence(hid_field const& field, std::uint32_t position, bool present,
                        std::span<std::uint8_t> data) const;

    std::vector<hid_collection> collections_;
    std::vector<hid_field> fields_;
    std::vector<hid_report_info> reports_;
    bool numbered_ = false;
    // Built by parse(), sorted by type, then first usage: the usage ranges of every
    // field that decode() reads.
    std::vector<usage_index_entry> usage_index_;
};

} // namespace plinth::apple
