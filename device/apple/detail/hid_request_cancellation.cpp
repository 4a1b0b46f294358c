// hid_request_cancellation: completing an asynchronous report request aborted, ahead of IOKit's completion.
#include "device/apple/detail/hid_request_cancellation.hpp"

#include <boost/asio/error.hpp>

#include <algorithm>
#include <utility>

namespace plinth::apple::detail {

hid_request_cancellation::hid_request_cancellation(std::weak_ptr<hid_service::lifeline> life, void const* m) noexcept
    : stream_life(std::move(life)), maker(m)
{
}

void hid_request_cancellation::operator()(boost::asio::cancellation_type_t type)
{
    if ((type & (boost::asio::cancellation_type::terminal | boost::asio::cancellation_type::partial)) ==
        boost::asio::cancellation_type::none)
        return;
    // The stream may be gone while its aborted request waits to complete.
    hid_service::data::report_request::completion handler;
    hid_service::lifeline::with_record(stream_life, [&](hid_service::data& data) {
        auto const found = std::find_if(data.requests.begin(), data.requests.end(),
                                        [this](auto const& request) { return request.maker == maker; });
        // Completed already: its completion is on its way. Otherwise the entry
        // stays for IOKit's callback, which finds no handler.
        if (found != data.requests.end() && found->handler)
            handler = std::exchange(found->handler, {});
    });
    if (handler)
        handler(boost::asio::error::operation_aborted, 0);
}

} // namespace plinth::apple::detail
