// handoff_allocator: pooled memory for HID read handlers made on one thread and released on another.
#pragma once

#include <boost/pool/pool_alloc.hpp>

#include <cstddef>

namespace plinth::apple::detail {

// Memory for what one thread makes and another releases: a read's handler is
// made on the reader's thread and released on the run-loop thread or the
// executor's. Pools shared by every thread (one per block size,
// each behind its own mutex) take a block back on any thread and hand it out
// again, so that reading in a loop reaches the heap only while they warm up.
template <typename T = std::byte>
using handoff_allocator = boost::fast_pool_allocator<T>;

} // namespace plinth::apple::detail
