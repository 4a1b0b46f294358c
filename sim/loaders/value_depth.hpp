// How deeply a dump's values may nest, whichever form the dump takes.
#pragma once

namespace plinth::sim::detail {

// Deeper nesting than any driver publishes; the limit keeps hostile input from
// exhausting the stack.
inline constexpr int max_value_depth = 256;

} // namespace plinth::sim::detail
