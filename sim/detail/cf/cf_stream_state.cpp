// A CF stream's status and error, and the CFError that tells the error.
#include "sim/detail/cf/cf_stream_state.hpp"

#include <cerrno>

namespace plinth::sim::detail {

bool cf_stream_state::begin_open() noexcept
{
    if (status_ == kCFStreamStatusNotOpen)
        return true;
    fail(EPERM);
    return false;
}

void cf_stream_state::fail(int code) noexcept
{
    status_ = kCFStreamStatusError;
    error_ = {kCFStreamErrorDomainPOSIX, static_cast<SInt32>(code)};
}

void cf_stream_state::close() noexcept
{
    if (status_ != kCFStreamStatusError && status_ != kCFStreamStatusNotOpen)
        status_ = kCFStreamStatusClosed;
}

CFErrorRef cf_stream_state::copy_error() const
{
    if (error_.domain == 0)
        return nullptr;
    if (error_.domain == kCFStreamErrorDomainPOSIX)
        return CFErrorCreate(nullptr, kCFErrorDomainPOSIX, error_.error, nullptr);
    return CFErrorCreate(nullptr, kCFErrorDomainOSStatus, error_.error, nullptr);
}

} // namespace plinth::sim::detail
