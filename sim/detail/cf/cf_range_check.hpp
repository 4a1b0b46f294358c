// Range checks of CF calls, reported as misuse when a range leaves its collection.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <cstddef>

namespace plinth::sim::detail {

// True when `range` lies within [0, count]; otherwise reports misuse naming `function`
// (CF asserts on such a range) and returns false.
bool cf_range_within(CFRange range, std::size_t count, char const* function);

// True when 0 <= index < count (or <= count with `allow_end`); otherwise reports misuse.
bool cf_index_within(CFIndex index, std::size_t count, char const* function, bool allow_end = false);

// True for the input of a Create or Append call: a count of zero or more, and the
// buffers `present` unless the count is zero. Otherwise reports
// "<function>: <problem> (<count>)" and returns false.
bool cf_input_valid(bool present, CFIndex count, char const* function, char const* problem);

// True for a capacity of zero or more (CF's capacities are hints, but never negative);
// otherwise reports misuse.
bool cf_capacity_valid(CFIndex capacity, char const* function);

} // namespace plinth::sim::detail
