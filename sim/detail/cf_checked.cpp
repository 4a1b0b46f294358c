#include "sim/detail/cf_checked.hpp"

#include "sim/control/diagnostics.hpp"
#include "sim/detail/cf_live_objects.hpp"
#include "sim/detail/cf_type_registry.hpp"

#include <sstream>

namespace plinth::sim::detail {
namespace {

std::string type_label(CFTypeID type)
{
    auto name = cf_type_registry::name_of(type);
    return name.empty() ? "CF object" : name;
}

} // namespace

cf_object* cf_checked_object(CFTypeRef ref, char const* function, CFTypeID expected_type)
{
    std::ostringstream report;
    report << function << ": ";
    if (ref == nullptr)
    {
        report << "NULL passed as " << (expected_type != 0 ? type_label(expected_type) : "CF object");
        report_misuse(report.str());
        return nullptr;
    }
    if (!cf_live_objects::instance().contains(ref))
    {
        report << ref << " is not a live CF object (released already, or never one)";
        report_misuse(report.str());
        return nullptr;
    }
    auto* object = cf_object::from_ref(ref);
    if (expected_type != 0 && object->type_id() != expected_type)
    {
        report << "expected a " << type_label(expected_type) << ", got a " << object->type_name() << " ("
               << ref << ')';
        report_misuse(report.str());
        return nullptr;
    }
    return object;
}

void report_immutable(cf_object const* object, char const* function)
{
    std::ostringstream report;
    report << function << ": " << object->type_name() << ' ' << object->ref() << " is immutable";
    report_misuse(report.str());
}

} // namespace plinth::sim::detail
