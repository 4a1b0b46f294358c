// The control interface's HID side: playing a HID device's hardware for its clients.
#pragma once

#include "sim/control/dump.hpp"

#include <IOKit/IOReturn.h>
#include <IOKit/IOTypes.h>
#include <IOKit/hid/IOHIDDeviceTypes.h>
#include <IOKit/hidsystem/IOHIDLib.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

// The control interface's HID side: what a device's hardware and the kernel do,
// for tests and programs that play a HID device of the simulated registry.
// Unplugging is remove_entry (registry.hpp): the removal callback reaches the
// loops that serve the device; adding the entry again plugs it back in.
namespace plinth::sim {

// The device sends one input report. Each client that has the device open with an
// input report callback, and not seized by another client, gets it through the
// kernel's per-client queue: it waits there, in order, until a run loop runs a mode
// the client scheduled the device in. The queue holds 16 384 bytes unless the
// device or the IOHIDDeviceRef sets "MaxReportBufferCount" × "ReportBufferEntrySize"
// (within 16 384…131 072); a report takes 24 bytes plus its own, rounded up to 4
// (186 reports of 64 bytes by default). A report that finds the queue full is
// dropped and counted. With no client listening it goes nowhere. Throws
// std::invalid_argument for an unknown entry.
void post_input_report(entry_id device, std::uint32_t report_id, std::span<std::uint8_t const> bytes);

// The (run loop, mode) pairs that the device's IOHIDDeviceRefs are scheduled in,
// over all of them: how a test sees that its code scheduled a device, or left it
// unscheduled once done. 0 for an entry that is no HID device or has no client.
std::size_t hid_schedulings(entry_id device);
// The device's clients that an input report posted now would reach: open, with a
// report or value callback. 0 for an entry that is no HID device or has no client.
std::size_t hid_readers(entry_id device);

// Input reports dropped because a client's queue was full, over all the device's
// clients. Each client's own count is its user client's "DebugState" →
// "EventQueueMap" → "EnqueueErrorCount", refreshed as reports are dropped.
std::size_t dropped_input_reports(entry_id device);

// One report a client sent with IOHIDDeviceSetReport (or its WithCallback form), of any type (output or
// feature), with the type and report ID it was sent with.
struct output_report
{
    IOHIDReportType type;
    std::uint32_t report_id;
    std::vector<std::uint8_t> bytes;
};

// What clients sent to the device, in order. Throws std::invalid_argument for an
// unknown entry.
std::vector<output_report> output_reports(entry_id device);

// IOHIDDeviceGetReport asks the device for its present report of one type and ID.
// `bytes` are what the client receives (a device that numbers its reports puts
// the ID in byte 0), cut to the client's buffer when longer. An ID the device has
// no report of gives kIOReturnUnsupported; so does any output report. A feature or
// output report a client sends changes no answer: what it means is the device's
// business, played through output_reports. Both throw std::invalid_argument for an
// unknown entry or one that is not a HID device.

// The feature report of ID `report_id` that the device answers with.
void set_feature_report(entry_id device, std::uint32_t report_id, std::span<std::uint8_t const> bytes);

// The input report of ID `report_id` that the device answers with, sent to no one.
// Posting an input report (post_input_report) to a device a client has made also
// makes it the answer for its ID, as a device reports its present state; the later
// of the two calls wins.
void set_input_report(entry_id device, std::uint32_t report_id, std::span<std::uint8_t const> bytes);

// How the device answers set-report and get-report requests (IOHIDDeviceSetReport,
// IOHIDDeviceGetReport and their WithCallback forms): at first at once; after
// `delay` from each request with delay_report_answers (zero: at once again); never
// with stall_report_answers, as a Bluetooth device under load may. A synchronous
// request to a device that has not answered blocks until it does, or until the
// device is removed (kIOReturnOffline); a request with a callback completes when
// the device answers, or at its deadline with kIOReturnTimeout. A change applies to
// the requests pending as well, each counted from when it was made. A report
// whose request timed out still reaches the device, and output_reports, once it
// answers. Both throw std::invalid_argument for an unknown entry or one that is
// not a HID device.
void delay_report_answers(entry_id device, std::chrono::nanoseconds delay);
void stall_report_answers(entry_id device);

// Calls `observer` on the thread that delivers each input report to a client of
// the device, just before the client's report callback runs; an empty function
// removes it. Where a test or a benchmark sees a report reach the application.
// Throws std::invalid_argument for an unknown entry or one that is not a HID
// device.
void set_input_report_observer(entry_id device, std::function<void()> observer);

// A client that another process holds: it opens the device as that process's
// IOHIDDeviceOpen would, with an IOHIDLibUserClient entry below the device whose
// "IOUserClientCreator" names `pid` and `process_name` ("pid 4242, karabiner"),
// and takes part in the seize rules like any client until it closes. It receives
// no reports: what that process does with them is none of this one's business.
struct foreign_client
{
    entry_id device;
    std::uint64_t token;
    // What that process's IOHIDDeviceOpen returned: kIOReturnExclusiveAccess when
    // another client held the device seized (the client is open all the same).
    IOReturn open_result;
};

// Opens the device for another process with `options` (kIOHIDOptionsTypeSeizeDevice
// to seize it). Throws std::invalid_argument for an unknown entry or one that is
// not a HID device.
foreign_client open_foreign_client(entry_id device, int pid, std::string const& process_name, IOOptionBits options);

// The other process closes the device: its entry leaves the registry, and a seize
// it held ends. kIOReturnNotOpen when it was closed already; nothing happens once
// the device has left the registry (its clients' entries left with it).
IOReturn close_foreign_client(foreign_client const& client);

// What the user decided about this process in the system's privacy settings: Input
// Monitoring (kIOHIDRequestTypeListenEvent) and event posting. Keyboards, mice and
// touch pads carry "RequiresTCCAuthorization"; an IOHIDDeviceRef of one asks for
// listen-event access the first time it needs the kernel (IOHIDDeviceOpen,
// registering for reports, Set/GetReport), keeps the answer for its life, and
// when refused fails with kIOReturnNotPermitted without opening anything. Every
// request type starts granted, which is what a process that never plays a refusal
// sees. IOHIDCheckAccess reads the decision and never asks.
void set_hid_access(IOHIDAccessType decision, IOHIDRequestType type = kIOHIDRequestTypeListenEvent);

// What the user answers when IOHIDRequestAccess (or a device, as above) asks while
// the decision is kIOHIDAccessTypeUnknown: the answer becomes the decision. Grant
// until told otherwise; asking never blocks.
void set_hid_access_answer(bool grant, IOHIDRequestType type = kIOHIDRequestTypeListenEvent);

// Every request type granted again, with a grant as the answer when asked.
void reset_hid_access();

} // namespace plinth::sim
