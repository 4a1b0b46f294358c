// The argument check of every CF call: NULL, dead and wrong-typed objects are reported as misuse.
#include "sim/detail/cf/cf_checked.hpp"

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_live_objects.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"

#include <fmt/format.h>

namespace plinth::sim::detail {
namespace {

std::string type_label(CFTypeID type)
{
    auto name = cf_type_registry::name_of(type);
    return name.empty() ? "CF object" : name;
}

} // namespace

// The checks run on every CF call, so the report is only composed once a check fails.
cf_object* cf_checked_object(CFTypeRef ref, char const* function, CFTypeID expected_type)
{
    if (ref == nullptr)
    {
        report_misuse(fmt::format("{}: NULL passed as {}", function,
                                  expected_type != 0 ? type_label(expected_type) : "CF object"));
        return nullptr;
    }
    if (!cf_live_objects::instance().contains(ref))
    {
        report_misuse(
            fmt::format("{}: {} is not a live CF object (released already, or never one)", function, fmt::ptr(ref)));
        return nullptr;
    }
    auto* object = cf_object::from_ref(ref);
    if (expected_type != 0 && object->type_id() != expected_type)
    {
        report_misuse(fmt::format("{}: expected a {}, got a {} ({})", function, type_label(expected_type),
                                  object->type_name(), fmt::ptr(ref)));
        return nullptr;
    }
    return object;
}

void report_immutable(cf_object const* object, char const* function)
{
    report_misuse(fmt::format("{}: {} {} is immutable", function, object->type_name(), fmt::ptr(object->ref())));
}

} // namespace plinth::sim::detail
