// hid_request_cancellation: completing an asynchronous report request aborted, ahead of IOKit's completion.
#include "device/apple/detail/hid_request_cancellation.hpp"

#include <boost/asio/error.hpp>

#include <algorithm>
#include <utility>

namespace plinth::apple::detail {

hid_request_cancellation::hid_request_cancellation(std::weak_ptr<void const> alive, hid_service::record* r,
                                                   void const* m) noexcept
    : stream_alive(std::move(alive)), record(r), maker(m)
{
}

void hid_request_cancellation::operator()(boost::asio::cancellation_type_t type)
{
    if ((type & (boost::asio::cancellation_type::terminal | boost::asio::cancellation_type::partial)) ==
        boost::asio::cancellation_type::none)
        return;
    // The stream may be gone while its aborted request waits to complete.
    auto const alive = stream_alive.lock();
    if (!alive)
        return;
    hid_service::data::report_request::completion handler;
    {
        auto locked = record->lock();
        auto const found = std::find_if(locked->requests.begin(), locked->requests.end(),
                                        [this](auto const& request) { return request.maker == maker; });
        // Completed already: its completion is on its way.
        if (found == locked->requests.end() || !found->handler)
            return;
        // The entry stays for IOKit's callback, which finds no handler.
        handler = std::exchange(found->handler, {});
    }
    handler(boost::asio::error::operation_aborted, 0);
}

} // namespace plinth::apple::detail
