// Range checks of CF calls, reported as misuse when a range leaves its collection.
#include "sim/detail/cf/cf_range_check.hpp"

#include "sim/detail/diagnostics/misuse_reports.hpp"

#include <string>

namespace plinth::sim::detail {

bool cf_range_within(CFRange range, std::size_t count, char const* function)
{
    auto const size = static_cast<CFIndex>(count);
    if (range.location >= 0 && range.length >= 0 && range.location <= size && range.length <= size - range.location)
        return true;
    report_misuse(std::string(function) + ": range {" + std::to_string(range.location) + ", " +
                  std::to_string(range.length) + "} outside 0.." + std::to_string(count));
    return false;
}

bool cf_index_within(CFIndex index, std::size_t count, char const* function, bool allow_end)
{
    auto const size = static_cast<CFIndex>(count);
    if (index >= 0 && (index < size || (allow_end && index == size)))
        return true;
    report_misuse(std::string(function) + ": index " + std::to_string(index) + " outside 0.." + std::to_string(count));
    return false;
}

bool cf_input_valid(bool present, CFIndex count, char const* function, char const* problem)
{
    if (count >= 0 && (present || count == 0))
        return true;
    report_misuse(std::string(function) + ": " + problem + " (" + std::to_string(count) + ")");
    return false;
}

bool cf_capacity_valid(CFIndex capacity, char const* function)
{
    if (capacity >= 0)
        return true;
    report_misuse(std::string(function) + ": negative capacity " + std::to_string(capacity));
    return false;
}

} // namespace plinth::sim::detail
