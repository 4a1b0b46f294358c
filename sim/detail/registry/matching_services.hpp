#pragma once

#include "sim/detail/registry/registry_entry.hpp"
#include "sim/detail/registry/service_matcher.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <optional>
#include <vector>

namespace plinth::sim::detail {

// The matcher of a caller's matching dictionary, or nothing for a value that is
// not a dictionary. The dictionary is read before the registry is locked, so that
// no CF call runs under the registry's lock.
std::optional<service_matcher> matcher_from_cf(CFDictionaryRef matching);

// The services the matcher selects now, in registry order.
std::vector<std::shared_ptr<registry_entry>> services_matching(service_matcher const& matcher);

// Whether one entry (live or just removed) satisfies the matcher.
bool entry_matches(service_matcher const& matcher, registry_entry const& entry);

} // namespace plinth::sim::detail
