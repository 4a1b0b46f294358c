// io_hid_device: a reference-counted handle on an IOHIDDeviceRef: open, properties, callbacks, reports.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/io_service_view.hpp"

#include <CoreFoundation/CFRunLoop.h>
#include <IOKit/hid/IOHIDDevice.h>

#include <cstdint>
#include <span>

namespace plinth::apple::io_kit {

// A value handle on one IOKit HID device (IOHIDDeviceRef), null when empty. It owns
// one CF reference: copying retains, destruction releases, moving transfers.
// Operations that IOKit answers with an IOReturn throw boost::system::system_error
// carrying plinth::apple::make_error_code of it on failure.
class io_hid_device
{
public:
    io_hid_device() noexcept = default;

    // The HID device of registry service `service` (IOHIDDeviceCreate); null when
    // the service is not a HID device.
    explicit io_hid_device(io_service_view service) noexcept;

    io_hid_device(io_hid_device const& other) noexcept;
    io_hid_device(io_hid_device&& other) noexcept;
    io_hid_device& operator=(io_hid_device const& other) & noexcept;
    io_hid_device& operator=(io_hid_device&& other) & noexcept;
    ~io_hid_device();

    IOHIDDeviceRef get() const noexcept;
    explicit operator bool() const noexcept;

    // IOHIDDeviceOpen / IOHIDDeviceClose with `options` (kIOHIDOptionsTypeSeizeDevice
    // takes the device exclusively).
    void open(unsigned int options) const;
    void close(unsigned int options) const;

    // The device's property `key` (IOHIDDeviceGetProperty); empty when absent.
    CF::AutoPointer get_property(char const* key) const;

    // Registers `buffer` for input reports and `callback` with `context`; a null
    // callback and context unregister.
    void register_input_report_callback(std::span<std::uint8_t> buffer, IOHIDReportCallback callback,
                                        void* context) const noexcept;
    void register_removal_callback(IOHIDCallback callback, void* context) const noexcept;

    void schedule_with_run_loop(CFRunLoopRef run_loop, CFStringRef mode) const noexcept;
    void unschedule_from_run_loop(CFRunLoopRef run_loop, CFStringRef mode) const noexcept;

    // Sends one report synchronously (IOHIDDeviceSetReport).
    void set_report(IOHIDReportType type, long report_id, std::span<std::uint8_t const> data) const;

    // Asks the device for one report into `buffer` (IOHIDDeviceGetReport); returns
    // the bytes received.
    std::size_t get_report(IOHIDReportType type, long report_id, std::span<std::uint8_t> buffer) const;

    // Starts sending one report (IOHIDDeviceSetReportWithCallback): IOKit calls
    // `callback` with `context` once, later, on a run loop the device is scheduled
    // in, unless this throws. `timeout_ms` is in milliseconds, as IOKit takes it.
    // `data` must stay valid until the callback.
    void set_report_with_callback(IOHIDReportType type, long report_id, std::span<std::uint8_t const> data,
                                  double timeout_ms, IOHIDReportCallback callback, void* context) const;

    // Starts asking the device for one report into `buffer`
    // (IOHIDDeviceGetReportWithCallback), which IOKit fills just before it calls
    // `callback` as above: `buffer` must stay valid until then.
    void get_report_with_callback(IOHIDReportType type, long report_id, std::span<std::uint8_t> buffer,
                                  double timeout_ms, IOHIDReportCallback callback, void* context) const;

private:
    IOHIDDeviceRef device_ = nullptr;
};

} // namespace plinth::apple::io_kit
