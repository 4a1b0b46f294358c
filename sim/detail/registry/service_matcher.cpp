// Matching dictionaries applied to services, and the services they select.
#include "sim/detail/registry/service_matcher.hpp"

#include "sim/detail/kernel/kernel_equality.hpp"
#include "sim/detail/registry/property_from_cf.hpp"
#include "sim/detail/registry/plane_walk.hpp"
#include "sim/detail/registry/registry_model.hpp"
#include "sim/detail/registry/registry_path.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace plinth::sim::detail {

using property::array;
using property::data;
using property::set;

namespace {

constexpr std::string_view matching_plane = "IOService";

// Keys that choose and configure drivers rather than select services.
constexpr std::array<std::string_view, 12> ignored_keys{"IOMatchCategory",
                                                        "IOProbeScore",
                                                        "IOClass",
                                                        "IOKitDebug",
                                                        "CFBundleIdentifier",
                                                        "IOUserClientClass",
                                                        "IOResourceMatch",
                                                        "IOMatchedServiceCountMatch",
                                                        "IOLocationMatch",
                                                        "IONameMatched",
                                                        "IOProviderMergeProperties",
                                                        "IOPersonalityPublisher"};

constexpr std::string_view usage_page_key = "DeviceUsagePage";
constexpr std::string_view usage_key = "DeviceUsage";

std::vector<value const*> one_or_many(value const& v)
{
    std::vector<value const*> items;
    if (auto const* list = std::get_if<array>(&v.content))
        for (auto const& item : *list)
            items.push_back(&item);
    else if (auto const* collection = std::get_if<set>(&v.content))
        for (auto const& item : collection->items)
            items.push_back(&item);
    else
        items.push_back(&v);
    return items;
}

// The strings of a property that is text or NUL-separated text in data.
std::vector<std::string> strings_of(value const* property)
{
    std::vector<std::string> found;
    if (!property)
        return found;
    if (auto const* text = std::get_if<std::string>(&property->content))
        found.push_back(*text);
    else if (auto const* bytes = std::get_if<data>(&property->content))
    {
        std::string current;
        for (auto const byte : *bytes)
        {
            if (byte == 0)
            {
                if (!current.empty())
                    found.push_back(std::move(current));
                current.clear();
            }
            else
                current.push_back(static_cast<char>(byte));
        }
        if (!current.empty())
            found.push_back(std::move(current));
    }
    return found;
}

} // namespace

service_matcher::service_matcher(dictionary const& matching)
{
    for (auto const& [key, criterion] : matching)
    {
        auto const* text = std::get_if<std::string>(&criterion.content);
        if (key == "IOProviderClass")
        {
            if (text)
                provider_class_ = *text;
            else
                impossible_ = true;
        }
        else if (key == "IONameMatch")
        {
            for (auto const* item : one_or_many(criterion))
                if (auto const* name = std::get_if<std::string>(&item->content))
                    names_.push_back(*name);
            impossible_ = impossible_ || names_.empty();
        }
        else if (key == "IOPropertyMatch")
        {
            for (auto const* item : one_or_many(criterion))
                if (auto const* subset = std::get_if<dictionary>(&item->content))
                    property_subsets_.push_back(*subset);
            impossible_ = impossible_ || property_subsets_.empty();
        }
        else if (key == "IOPropertyExistsMatch")
        {
            for (auto const* item : one_or_many(criterion))
                if (auto const* name = std::get_if<std::string>(&item->content))
                    existing_keys_.push_back(*name);
            impossible_ = impossible_ || existing_keys_.empty();
        }
        else if (key == "IORegistryEntryID")
        {
            if (auto const* id = std::get_if<number>(&criterion.content))
                entry_id_ = *id;
            else
                impossible_ = true;
        }
        else if (key == "BSD Name" && !text)
            impossible_ = true; // a text BSD name is compared as a family property below
        else if (key == "IOPathMatch")
        {
            if (text)
                path_ = *text;
            else
                impossible_ = true;
        }
        else if (key == "IOParentMatch")
        {
            if (auto const* nested = std::get_if<dictionary>(&criterion.content))
                parent_ = std::make_shared<service_matcher const>(*nested);
            else
                impossible_ = true;
        }
        else if (key == usage_page_key || key == usage_key)
            usage_.emplace_back(key, criterion);
        else if (key == "DeviceUsagePairs")
        {
            // HID matching takes a list of usages as alternatives, each matched as
            // DeviceUsagePage and DeviceUsage at the top level are.
            wants_usage_alternatives_ = true;
            for (auto const* item : one_or_many(criterion))
                if (auto const* pair = std::get_if<dictionary>(&item->content))
                    usage_alternatives_.push_back(*pair);
        }
        else if (std::ranges::find(ignored_keys, key) == ignored_keys.end())
            family_properties_.emplace_back(key, criterion);
    }
}

bool service_matcher::names_match(registry_entry const& entry) const
{
    std::vector<std::string> known{entry.name(), entry.name_in_plane(matching_plane)};
    for (auto const* key : {"IOName", "name", "compatible"})
        for (auto& text : strings_of(entry.find_property(key)))
            known.push_back(std::move(text));
    return std::ranges::any_of(names_, [&](auto const& name) { return std::ranges::find(known, name) != known.end(); });
}

bool service_matcher::usage_matches(registry_entry const& entry, dictionary const& wanted)
{
    if (properties_include(entry.properties(), wanted))
        return true;
    auto const* pairs = entry.find_property("DeviceUsagePairs");
    auto const* list = pairs ? std::get_if<array>(&pairs->content) : nullptr;
    if (!list)
        return false;
    return std::ranges::any_of(*list, [&](value const& pair) {
        auto const* fields = std::get_if<dictionary>(&pair.content);
        return fields && properties_include(*fields, wanted);
    });
}

bool service_matcher::parent_matches(registry_model const& model, registry_entry const& entry) const
{
    return find_linked(entry, matching_plane, link_direction::parents, [&](registry_entry const& ancestor) {
               return &ancestor != model.root().get() && parent_->matches(model, ancestor);
           }) != nullptr;
}

bool service_matcher::matches(registry_model const& model, registry_entry const& entry) const
{
    if (impossible_)
        return false;
    if (entry_id_ && static_cast<std::uint64_t>(entry_id_->bits) != entry.id())
        return false;
    if (provider_class_ && !model.conforms(entry, *provider_class_))
        return false;
    if (!names_.empty() && !names_match(entry))
        return false;
    if (!property_subsets_.empty() && std::ranges::none_of(property_subsets_, [&](auto const& subset) {
            return properties_include(entry.properties(), subset);
        }))
        return false;
    if (!existing_keys_.empty() &&
        std::ranges::none_of(existing_keys_, [&](auto const& key) { return entry.find_property(key) != nullptr; }))
        return false;
    if (path_ && entry_at_path(model, *path_) != &entry)
        return false;
    if (!usage_.empty() && !usage_matches(entry, usage_))
        return false;
    if (wants_usage_alternatives_ && std::ranges::none_of(usage_alternatives_, [&](dictionary const& wanted) {
            return usage_matches(entry, wanted);
        }))
        return false;
    if (!properties_include(entry.properties(), family_properties_))
        return false;
    return !parent_ || parent_matches(model, entry);
}

std::optional<service_matcher> matcher_from_cf(CFDictionaryRef matching)
{
    if (CFGetTypeID(matching) != CFDictionaryGetTypeID())
        return std::nullopt;
    auto const table = value_from_cf(matching);
    if (!table)
        return std::nullopt;
    return service_matcher(std::get<property::dictionary>(table->content));
}

std::vector<std::shared_ptr<registry_entry>> services_matching(service_matcher const& matcher)
{
    return registry_model::instance().read([&](registry_model const& model) {
        auto services = model.services();
        std::erase_if(services, [&](auto const& service) { return !matcher.matches(model, *service); });
        return services;
    });
}

bool entry_matches(service_matcher const& matcher, registry_entry const& entry)
{
    return registry_model::instance().read([&](registry_model const& model) { return matcher.matches(model, entry); });
}

} // namespace plinth::sim::detail
