// The state every CF stream keeps: its status and its error.
#pragma once

#include <CoreFoundation/CFStream.h>

namespace plinth::sim::detail {

// A stream's status and the error that put it in the Error state.
class cf_stream_state
{
public:
    CFStreamStatus status() const noexcept { return status_; }
    CFStreamError error() const noexcept { return error_; }

    // Whether the stream may be opened now: only once, from NotOpen. A second
    // open is an error of its own (EPERM), as CF's streams answer it.
    bool begin_open() noexcept;
    void set_status(CFStreamStatus status) noexcept { status_ = status; }
    // Error status with errno `code` in the POSIX domain.
    void fail(int code) noexcept;
    // Whether reading or writing may go on: Open, or AtEnd for reading.
    bool is_open() const noexcept { return status_ == kCFStreamStatusOpen; }
    // Closed, unless the stream failed: its error stays to be read.
    void close() noexcept;

    // A new CFError for the error, or NULL while there is none.
    CFErrorRef copy_error() const;

private:
    CFStreamStatus status_ = kCFStreamStatusNotOpen;
    CFStreamError error_{0, 0};
};

} // namespace plinth::sim::detail
