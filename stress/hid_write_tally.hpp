// hid_write_tally: how the HID stress run's writes ended, per device and over the run.
#pragma once
// A write to a device that answers late or never may end before the device has
// the report (a timeout, a cancellation) and still reach it afterwards: the
// tallies here bound what a device may have received by what its writes
// confirmed and what they could have handed to IOKit.

#include "error/apple/hid_errc.hpp"
#include "error/apple/io_return.hpp"

#include <boost/asio/error.hpp>
#include <boost/system/error_code.hpp>

#include <IOKit/IOReturn.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace plinth::stress {

// How one write ended.
enum class write_outcome : std::size_t
{
    succeeded,     // the device has the report
    timed_out,     // the caller's deadline (boost::asio::error::timed_out)
    aborted,       // cancel(), a cancellation slot, a close (operation_aborted)
    iokit_timeout, // IOKit's own deadline (kIOReturnTimeout)
    iokit_aborted, // the device left with the request pending (kIOReturnAborted)
    refused,       // never handed to IOKit: the stream closed, the device unplugged
    seized,        // never handed to IOKit: another program seized the device
    unexpected,
};
constexpr std::size_t write_outcome_count = 8;

// How the run's figures name an outcome.
constexpr std::string_view write_outcome_name(write_outcome outcome)
{
    switch (outcome)
    {
    case write_outcome::succeeded: return "writes succeeded";
    case write_outcome::timed_out: return "writes timed out (deadline)";
    case write_outcome::aborted: return "writes aborted (cancelled)";
    case write_outcome::iokit_timeout: return "writes timed out by IOKit";
    case write_outcome::iokit_aborted: return "writes aborted by IOKit (unplug)";
    case write_outcome::refused: return "writes refused (closed)";
    case write_outcome::seized: return "writes refused (seized)";
    case write_outcome::unexpected: return "writes failed unexpectedly";
    }
    return "writes ended otherwise";
}

inline write_outcome classify_write(boost::system::error_code const& ec)
{
    using apple::make_error_code;
    if (!ec)
        return write_outcome::succeeded;
    if (ec == boost::asio::error::timed_out)
        return write_outcome::timed_out;
    if (ec == boost::asio::error::operation_aborted)
        return write_outcome::aborted;
    if (ec == make_error_code(kIOReturnTimeout))
        return write_outcome::iokit_timeout;
    if (ec == make_error_code(kIOReturnAborted))
        return write_outcome::iokit_aborted;
    if (ec == make_error_code(apple::hid_errc::not_open) || ec == make_error_code(kIOReturnNotOpen) ||
        ec == make_error_code(kIOReturnOffline) || ec == make_error_code(kIOReturnNotAttached))
        return write_outcome::refused;
    if (ec == make_error_code(kIOReturnExclusiveAccess))
        return write_outcome::seized;
    return write_outcome::unexpected;
}

// The writes made to one device while it stays plugged in (a device plugged in
// again starts a new tally), counted as they start and as they end.
struct write_tally
{
    std::atomic<std::uint64_t> started{0};
    // Succeeded: the device has the report.
    std::atomic<std::uint64_t> confirmed{0};
    // Refused before IOKit had them: the device never has them.
    std::atomic<std::uint64_t> refused{0};
    // Ended otherwise: the device has the report once it answers, if it does.
    std::atomic<std::uint64_t> unconfirmed{0};

    void ended(write_outcome outcome)
    {
        switch (outcome)
        {
        case write_outcome::succeeded: ++confirmed; break;
        case write_outcome::refused:
        case write_outcome::seized: ++refused; break;
        default: ++unconfirmed; break;
        }
    }
};

// Every write of the run, by outcome.
struct write_outcome_counts
{
    std::array<std::atomic<std::uint64_t>, write_outcome_count> counts{};

    void count(write_outcome outcome) { ++counts[static_cast<std::size_t>(outcome)]; }
    std::uint64_t of(write_outcome outcome) const { return counts[static_cast<std::size_t>(outcome)]; }
};

} // namespace plinth::stress
