// hid_read_cancellation: the handler installed in an asynchronous read's cancellation slot.
#pragma once

#include "device/apple/detail/hid_async_read.hpp"
#include "device/apple/detail/hid_service.hpp"

#include <boost/asio/cancellation_type.hpp>

#include <memory>

namespace plinth::apple::detail {

// What an asynchronous read leaves in its handler's cancellation slot. While the
// read is still the stream's pending one it withdraws it; once a report has
// filled it, the read completes aborted and gives the report back to the
// stream. Either way the read has had no effect, so every kind of cancellation
// is honoured, and a report, if one comes, goes to the next read.
class hid_read_cancellation
{
public:
    hid_read_cancellation(std::weak_ptr<hid_service::lifeline> stream_life, hid_async_read* read) noexcept;

    void operator()(boost::asio::cancellation_type_t type);

private:
    std::weak_ptr<hid_service::lifeline> stream_life;
    hid_async_read* read;
};

} // namespace plinth::apple::detail
