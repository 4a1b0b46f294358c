// The kernel's Input Monitoring tag: which HID devices ask the user before a process may read them.
#include "sim/detail/registry/input_monitoring_tag.hpp"

#include "sim/detail/registry/registry_entry.hpp"
#include "sim/detail/registry/registry_model.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

namespace plinth::sim::detail {
namespace {

using usage_pair = std::pair<std::int64_t, std::int64_t>;

// Keyboard (1/6), mouse (1/2) and touch pad (0x0D/5) are gated; keypads (1/7), game
// pads, joysticks, consumer controls and vendor pages are not.
constexpr std::array<usage_pair, 3> gated_usages{{{0x01, 0x06}, {0x01, 0x02}, {0x0D, 0x05}}};

std::optional<std::int64_t> number_in(dictionary const& items, std::string_view key)
{
    for (auto const& [name, item] : items)
        if (name == key)
            if (auto const* n = std::get_if<property::number>(&item.content))
                return n->as_signed();
    return std::nullopt;
}

// The device's usage pairs: its DeviceUsagePairs (one per top-level collection),
// or its primary usage when it publishes no pairs.
std::vector<usage_pair> usages_of(registry_entry const& entry)
{
    std::vector<usage_pair> pairs;
    if (auto const* listed = entry.find_property("DeviceUsagePairs"))
    {
        if (auto const* items = std::get_if<property::array>(&listed->content))
            for (auto const& item : *items)
                if (auto const* pair = std::get_if<dictionary>(&item.content))
                {
                    auto const page = number_in(*pair, "DeviceUsagePage");
                    auto const usage = number_in(*pair, "DeviceUsage");
                    if (page && usage)
                        pairs.emplace_back(*page, *usage);
                }
        return pairs;
    }
    auto const* page = entry.find_property("PrimaryUsagePage");
    auto const* usage = entry.find_property("PrimaryUsage");
    auto const* page_number = page ? std::get_if<property::number>(&page->content) : nullptr;
    auto const* usage_number = usage ? std::get_if<property::number>(&usage->content) : nullptr;
    if (page_number && usage_number)
        pairs.emplace_back(page_number->as_signed(), usage_number->as_signed());
    return pairs;
}

} // namespace

void tag_for_input_monitoring(registry_entry& entry, registry_model const& model)
{
    if (entry.find_property(requires_tcc_authorization_key) != nullptr || !model.conforms(entry, "IOHIDDevice"))
        return;
    // The tag is per device (interface): one gated collection gates every other
    // collection the device has, a vendor one beside a keyboard included.
    auto const pairs = usages_of(entry);
    bool const gated = std::ranges::any_of(
        pairs, [](usage_pair const& pair) { return std::ranges::find(gated_usages, pair) != gated_usages.end(); });
    if (gated)
        entry.set_property(requires_tcc_authorization_key, true);
}

} // namespace plinth::sim::detail
