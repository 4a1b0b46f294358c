// Fixtures the HID stream suites share: simulated HID devices, a context on its own thread, a captured log.
#pragma once

// What the HID stream suites share: a fixture with two simulated HID devices,
// a context that runs on a thread of its own, and a capture of the log.
#include "device/apple/device.hpp"
#include "device/apple/hid_stream.hpp"
#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "log/log.hpp"
#include "sim/control/hid.hpp"
#include "support/threaded_sim_test.hpp"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace plinth::testing {

namespace sim = plinth::sim;
using plinth::apple::device;

// An execution context whose shutdown a test may trigger while streams still live.
class shutting_context : public boost::asio::io_context
{
public:
    using boost::asio::io_context::shutdown;
};

// Collects the library's log lines.
class log_capture
{
public:
    log_capture()
    {
        previous_ = plinth::set_log_sink([this](plinth::log_level level, std::string_view line) {
            std::lock_guard const lock(mutex_);
            lines_.push_back(std::to_string(static_cast<int>(level)) + " " + std::string(line));
        });
    }
    ~log_capture() { plinth::set_log_sink(previous_); }
    std::vector<std::string> lines()
    {
        std::lock_guard const lock(mutex_);
        return lines_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> lines_;
    plinth::log_sink previous_;
};

class hid_stream_test : public plinth::testing::threaded_sim_test
{
protected:
    void SetUp() override
    {
        threaded_sim_test::SetUp();
        keyboard_id = sim::add_entry({"IOUSBHostHIDDevice",
                                      "Keyboard",
                                      "14100000",
                                      {{"DeviceUsagePage", sim::make_number(1)},
                                       {"DeviceUsage", sim::make_number(6)},
                                       {"MaxInputReportSize", sim::make_number(8)},
                                       {"MaxOutputReportSize", sim::make_number(2)}}},
                                     sim::root_entry_id);
        bare_id =
            sim::add_entry({"IOUSBHostHIDDevice", "Bare", "14200000", {{"MaxInputReportSize", sim::make_number(4)}}},
                           sim::root_entry_id);
    }

    static device entry(sim::entry_id id)
    {
        plinth::apple::tree const registry(plinth::apple::io_kit::mach_port::master_port_default());
        return device(plinth::apple::io_kit::io_registry_entry(registry.get_by_id(id).next()));
    }

    static void post(sim::entry_id id, std::uint32_t report_id, std::vector<std::uint8_t> const& bytes)
    {
        sim::post_input_report(id, report_id, bytes);
    }

    sim::entry_id keyboard_id = 0;
    sim::entry_id bare_id = 0;
};

// A blocking read on a thread of its own; the future holds its error code.
template <typename Bytes>
std::future<boost::system::error_code> read_on_a_thread(plinth::apple::hid_stream& stream, std::uint8_t& id,
                                                        Bytes& bytes)
{
    return std::async(std::launch::async, [&stream, &id, &bytes] {
        boost::system::error_code ec;
        stream.read({&id, boost::asio::buffer(bytes)}, ec);
        return ec;
    });
}

// The same with a timeout.
template <typename Bytes>
std::future<boost::system::error_code> read_on_a_thread(plinth::apple::hid_stream& stream, std::uint8_t& id,
                                                        Bytes& bytes, std::chrono::nanoseconds timeout)
{
    return std::async(std::launch::async, [&stream, &id, &bytes, timeout] {
        boost::system::error_code ec;
        stream.read({&id, boost::asio::buffer(bytes)}, timeout, ec);
        return ec;
    });
}

// Runs a context's handlers on a thread of its own while a test blocks in reads.
class running_context
{
public:
    // A cancel made when the last read has already been cancelled (close() after a
    // cancel() does that) posts the read's handler again, now empty, and calling
    // it throws std::bad_function_call out of run(). That is what the library does
    // today, not something its interface promises; this thread absorbs it and runs
    // the context on.
    running_context()
        : guard_(context.get_executor()), thread_([this] {
              for (;;)
              {
                  try
                  {
                      context.run();
                      return;
                  }
                  catch (std::bad_function_call const&)
                  {
                  }
              }
          })
    {
    }
    ~running_context()
    {
        guard_.reset();
        context.stop();
        thread_.join();
    }
    shutting_context context;

private:
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_;
    std::thread thread_;
};

} // namespace plinth::testing
