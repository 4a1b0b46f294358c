// The misuse log: a mutex-guarded list that is never destroyed.
#include "sim/detail/diagnostics/misuse_reports.hpp"

#include <mutex>

namespace plinth::sim::detail {
namespace {

struct report_log
{
    std::mutex mutex;
    std::vector<std::string> reports;
};

// Never destroyed: misuse may be reported from static destructors at exit.
report_log& report_store()
{
    static auto* const instance = new report_log;
    return *instance;
}

} // namespace

bool refuse_null(void const* pointer, char const* call, char const* argument)
{
    if (pointer != nullptr)
        return false;
    report_misuse(std::string(call) + ": " + argument + " is NULL");
    return true;
}

std::vector<std::string> misuse_reports()
{
    auto& l = report_store();
    std::lock_guard lock(l.mutex);
    return l.reports;
}

void clear_misuse_reports()
{
    auto& l = report_store();
    std::lock_guard lock(l.mutex);
    l.reports.clear();
}

void report_misuse(std::string message)
{
    auto& l = report_store();
    std::lock_guard lock(l.mutex);
    l.reports.push_back(std::move(message));
}

} // namespace plinth::sim::detail
