#pragma once

#include <CoreFoundation/CFBase.h>

#include <cstddef>

namespace plinth::sim::detail {

// True when `range` lies within [0, count]; otherwise reports misuse naming `function`
// (CF asserts on such a range) and returns false.
bool cf_range_within(CFRange range, std::size_t count, char const* function);

// True when 0 <= index < count (or <= count with `allow_end`); otherwise reports misuse.
bool cf_index_within(CFIndex index, std::size_t count, char const* function, bool allow_end = false);

} // namespace plinth::sim::detail
