// hid_read_queue: the opt-in queue in which a hid_stream keeps its device's input reports for its readers.
#pragma once

#include <cstddef>

namespace plinth::apple {

// What a queued stream does with a report that comes when its queue is full.
enum class hid_queue_overflow
{
    // Drops the report that came, keeping the older ones: what the device's own
    // queue in the kernel does.
    drop_newest,
    // Drops the oldest report to make room: a reader that falls behind then reads
    // the latest reports, which suits a device whose reports each tell its whole
    // present state.
    drop_oldest,
};

// A stream opened with a read queue keeps its device scheduled on the run-loop
// thread from open to close, and its report callback copies each report, as it
// comes, into a ring made at open (capacity reports of the device's
// "MaxInputReportSize" bytes each, allocated then and never again). Reads take
// the oldest queued report at once, or wait as an unqueued stream's reads do;
// read_batch takes every queued report in one call. Every report the queue
// drops is counted (hid_stream::dropped_reports).
struct hid_read_queue
{
    // In reports; at least 1.
    std::size_t capacity = 0;
    hid_queue_overflow overflow = hid_queue_overflow::drop_newest;
};

} // namespace plinth::apple
