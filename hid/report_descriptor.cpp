// hid_report_descriptor: parsing, the reports, and the usage index that find() searches.
#include "hid/report_descriptor.hpp"

#include "hid/detail/descriptor_parser.hpp"

#include <algorithm>
#include <tuple>

namespace plinth::apple {

hid_report_descriptor hid_report_descriptor::parse(std::span<std::uint8_t const> bytes)
{
    auto parsed = detail::descriptor_parser(bytes).run();
    hid_report_descriptor descriptor;
    descriptor.collections_ = std::move(parsed.collections);
    descriptor.fields_ = std::move(parsed.fields);
    descriptor.reports_ = std::move(parsed.reports);
    descriptor.numbered_ = parsed.numbered;
    descriptor.index_usages();
    return descriptor;
}

hid_report_descriptor hid_report_descriptor::parse(std::span<std::uint8_t const> bytes, boost::system::error_code& ec,
                                                   hid_descriptor_problem* problem)
{
    ec.clear();
    try
    {
        return parse(bytes);
    }
    catch (hid_descriptor_error const& e)
    {
        ec = e.code();
        if (problem)
            *problem = e.problem();
    }
    return {};
}

hid_report_info const* hid_report_descriptor::report(hid_report_type type, std::uint8_t id) const noexcept
{
    auto const found = std::lower_bound(reports_.begin(), reports_.end(), std::pair{type, id},
                                        [](hid_report_info const& r, std::pair<hid_report_type, std::uint8_t> key) {
                                            return std::pair{r.type, r.id} < key;
                                        });
    if (found == reports_.end() || found->type != type || found->id != id)
        return nullptr;
    return &*found;
}

std::size_t hid_report_descriptor::max_report_size(hid_report_type type) const noexcept
{
    std::size_t largest = 0;
    for (auto const& r : reports_)
        if (r.type == type)
            largest = std::max(largest, r.byte_size());
    return largest;
}

void hid_report_descriptor::index_usages()
{
    for (std::size_t i = 0; i < fields_.size(); ++i)
    {
        auto const& field = fields_[i];
        // decode() reads items of 1 to 32 bits only; the rest has nothing to find.
        if (field.count == 0 || field.bit_size == 0 || field.bit_size > 32)
            continue;
        // A variable field has `count` items; an array's values select as many
        // usages as its logical range holds.
        std::uint64_t const slots =
            field.flags.is_variable() ? std::uint64_t{field.count}
            : field.logical_maximum < field.logical_minimum
                ? 0
                : static_cast<std::uint64_t>(std::int64_t{field.logical_maximum} - field.logical_minimum + 1);
        std::uint64_t position = 0;
        for (auto const& range : field.usages)
        {
            if (position >= slots)
                break;
            auto const taken = std::min(range.size(), slots - position);
            usage_index_.push_back({field.type, range.first, static_cast<std::uint32_t>(range.first + (taken - 1)), 0,
                                    i, static_cast<std::uint32_t>(position)});
            position += range.size();
        }
    }
    std::sort(usage_index_.begin(), usage_index_.end(), [](usage_index_entry const& a, usage_index_entry const& b) {
        return std::tie(a.type, a.first, a.field, a.first_item) < std::tie(b.type, b.first, b.field, b.first_item);
    });
    for (std::size_t i = 0; i < usage_index_.size(); ++i)
    {
        auto& entry = usage_index_[i];
        bool const continues_type = i > 0 && usage_index_[i - 1].type == entry.type;
        entry.reach = continues_type ? std::max(usage_index_[i - 1].reach, entry.last) : entry.last;
    }
}

std::optional<hid_field_ref> hid_report_descriptor::find_in(hid_report_type type, hid_usage usage,
                                                            std::optional<std::size_t> collection,
                                                            std::optional<std::uint8_t> report_id) const noexcept
{
    auto const accept = [&](hid_field const& f) {
        return (!report_id || f.report_id == *report_id) && (!collection || is_within(f.collection, *collection));
    };
    auto const wanted = usage.extended();
    // Past the last range that starts at or before the usage; every range that holds it lies before.
    auto const end = std::upper_bound(usage_index_.begin(), usage_index_.end(), std::pair{type, wanted},
                                      [](std::pair<hid_report_type, std::uint32_t> key, usage_index_entry const& e) {
                                          return key < std::pair{e.type, e.first};
                                      });
    std::optional<hid_field_ref> best;
    for (auto it = end; it != usage_index_.begin();)
    {
        --it;
        if (it->type != type || it->reach < wanted)
            break;
        if (it->last < wanted || !accept(fields_[it->field]))
            continue;
        hid_field_ref const candidate{it->field, it->first_item + (wanted - it->first)};
        if (!best || std::tie(candidate.field, candidate.item) < std::tie(best->field, best->item))
            best = candidate;
    }
    return best;
}

bool hid_report_descriptor::is_within(std::size_t collection, std::size_t ancestor) const noexcept
{
    // A parent always comes before its children, so the walk ends.
    for (auto c = collection; c < collections_.size(); c = collections_[c].parent)
        if (c == ancestor)
            return true;
    return false;
}

std::optional<hid_field_ref> hid_report_descriptor::find(hid_report_type type, hid_usage usage,
                                                         std::optional<std::size_t> collection) const noexcept
{
    return find_in(type, usage, collection, std::nullopt);
}

} // namespace plinth::apple
