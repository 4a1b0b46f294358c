// Completions for the HID stream suites: a handler that records its one call, and the thread a context runs.
#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <future>
#include <memory>
#include <thread>

namespace plinth::testing {

// What one asynchronous request completed with, and on which thread.
struct completion_result
{
    boost::system::error_code ec;
    std::size_t n = 0;
    std::thread::id thread;
};

// A handler that records its one completion; a second would throw out of the
// context's run and fail the test.
struct recording_handler
{
    std::shared_ptr<std::promise<completion_result>> done = std::make_shared<std::promise<completion_result>>();

    void operator()(boost::system::error_code ec, std::size_t n) const
    {
        done->set_value({ec, n, std::this_thread::get_id()});
    }
    std::future<completion_result> result() const { return done->get_future(); }
};

// The thread that runs the context's handlers, asked of the context itself.
inline std::thread::id thread_of(boost::asio::io_context& context)
{
    return boost::asio::post(context, boost::asio::use_future([] { return std::this_thread::get_id(); })).get();
}

} // namespace plinth::testing
