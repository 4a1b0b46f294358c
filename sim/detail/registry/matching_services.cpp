#include "sim/detail/registry/matching_services.hpp"

#include "sim/detail/registry/property_from_cf.hpp"
#include "sim/detail/registry/registry_model.hpp"

namespace plinth::sim::detail {

std::optional<service_matcher> matcher_from_cf(CFDictionaryRef matching)
{
    if (CFGetTypeID(matching) != CFDictionaryGetTypeID())
        return std::nullopt;
    auto const table = value_from_cf(matching);
    if (!table)
        return std::nullopt;
    return service_matcher(std::get<plinth::sim::dictionary>(table->content));
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
    return registry_model::instance().read(
        [&](registry_model const& model) { return matcher.matches(model, entry); });
}

} // namespace plinth::sim::detail
