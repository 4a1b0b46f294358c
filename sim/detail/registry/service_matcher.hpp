// Matching dictionaries as the kernel applies them to services, and the services they select.
#pragma once

#include "property/value.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace plinth::sim::detail {

using property::dictionary;
using property::number;
using property::value;

class registry_entry;
class registry_model;

// A matching dictionary as the kernel applies it to one service:
// - IOProviderClass: the service's class is it or derives from it;
// - IONameMatch (a name or an array of names): any of them is the service's name,
//   its "IOName", or one of its "name" / "compatible" strings;
// - IOPropertyMatch (a dictionary or an array of them): any one is a subset of the
//   service's properties; IOPropertyExistsMatch (a key or a collection of keys):
//   any of the keys is present;
// - IORegistryEntryID, IOPathMatch, IOParentMatch (any ancestor in the service
//   plane matches the nested dictionary);
// - any other key is left to the service's family, which compares it with the
//   property of that name (idVendor, VendorID, "BSD Name"…); a HID DeviceUsagePage /
//   DeviceUsage also matches a pair of DeviceUsagePairs. Keys that only steer
//   driver matching (IOMatchCategory, IOProbeScore, IOClass…) are ignored.
class service_matcher
{
public:
    explicit service_matcher(dictionary const& matching);

    // Runs inside registry_model::read.
    bool matches(registry_model const& model, registry_entry const& entry) const;

private:
    bool names_match(registry_entry const& entry) const;
    // Whether the entry's usage, or one of its "DeviceUsagePairs", has the page and usage `wanted` names.
    static bool usage_matches(registry_entry const& entry, dictionary const& wanted);
    bool parent_matches(registry_model const& model, registry_entry const& entry) const;

    bool impossible_ = false; // a criterion of a kind no service can satisfy
    std::optional<std::string> provider_class_;
    std::vector<std::string> names_;
    std::vector<dictionary> property_subsets_;
    std::vector<std::string> existing_keys_;
    std::optional<number> entry_id_;
    std::optional<std::string> path_;
    std::shared_ptr<service_matcher const> parent_;
    dictionary usage_;
    // A "DeviceUsagePairs" criterion: the device matches when any one of them does.
    std::vector<dictionary> usage_alternatives_;
    bool wants_usage_alternatives_ = false;
    dictionary family_properties_;
};

// The matcher of a caller's matching dictionary, or nothing for a value that is
// not a dictionary. The dictionary is read before the registry is locked, so that
// no CF call runs under the registry's lock.
std::optional<service_matcher> matcher_from_cf(CFDictionaryRef matching);

// The services the matcher selects now, in registry order.
std::vector<std::shared_ptr<registry_entry>> services_matching(service_matcher const& matcher);

// Whether one entry (live or just removed) satisfies the matcher.
bool entry_matches(service_matcher const& matcher, registry_entry const& entry);

} // namespace plinth::sim::detail
