// hid_request_cancellation: the handler installed in an asynchronous report request's cancellation slot.
#pragma once

#include "device/apple/detail/hid_service.hpp"

#include <boost/asio/cancellation_type.hpp>

#include <memory>

namespace plinth::apple::detail {

// What an asynchronous report request leaves in its handler's cancellation slot:
// while IOKit still has the request and nothing has completed it, it completes it
// with operation_aborted and leaves IOKit's completion to be discarded. IOKit
// cannot take a sent report back, so only terminal and partial cancellation are
// honoured.
class hid_request_cancellation
{
public:
    hid_request_cancellation(std::weak_ptr<hid_service::lifeline> stream_life, void const* maker) noexcept;

    void operator()(boost::asio::cancellation_type_t type);

private:
    std::weak_ptr<hid_service::lifeline> stream_life;
    void const* maker;
};

} // namespace plinth::apple::detail
