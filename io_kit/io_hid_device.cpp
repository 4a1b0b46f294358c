// io_hid_device: the IOHIDDevice calls behind the handle, with failed IOReturns thrown as system_error.
#include "io_kit/io_hid_device.hpp"

#include "io_kit/cf/string.hpp"
#include "io_kit/detail/share.hpp"
#include "io_kit/detail/throw_if_failed.hpp"

#include <utility>

namespace plinth::apple::io_kit {

io_hid_device::io_hid_device(io_service_view service) noexcept
    : device_(IOHIDDeviceCreate(kCFAllocatorDefault, service.get()))
{
}

io_hid_device::io_hid_device(io_hid_device const& other) noexcept : device_(other.device_)
{
    if (device_ != nullptr)
        CFRetain(device_);
}

io_hid_device::io_hid_device(io_hid_device&& other) noexcept : device_(std::exchange(other.device_, nullptr)) {}

io_hid_device& io_hid_device::operator=(io_hid_device const& other) & noexcept
{
    io_hid_device copy(other);
    std::swap(device_, copy.device_);
    return *this;
}

io_hid_device& io_hid_device::operator=(io_hid_device&& other) & noexcept
{
    io_hid_device taken(std::move(other));
    std::swap(device_, taken.device_);
    return *this;
}

io_hid_device::~io_hid_device()
{
    if (device_ != nullptr)
        CFRelease(device_);
}

IOHIDDeviceRef io_hid_device::get() const noexcept
{
    return device_;
}

io_hid_device::operator bool() const noexcept
{
    return device_ != nullptr;
}

void io_hid_device::open(unsigned int options) const
{
    detail::throw_if_failed(IOHIDDeviceOpen(device_, options), "IOHIDDeviceOpen");
}

void io_hid_device::close(unsigned int options) const
{
    detail::throw_if_failed(IOHIDDeviceClose(device_, options), "IOHIDDeviceClose");
}

CF::AutoPointer io_hid_device::get_property(char const* key) const
{
    CF::String const name(key, kCFStringEncodingUTF8);
    if (name.GetTypeRef() == nullptr)
        return {};
    return detail::share(IOHIDDeviceGetProperty(device_, static_cast<CFStringRef>(name.GetTypeRef())));
}

void io_hid_device::register_input_report_callback(std::span<std::uint8_t> buffer, IOHIDReportCallback callback,
                                                   void* context) const noexcept
{
    IOHIDDeviceRegisterInputReportCallback(device_, buffer.data(), static_cast<CFIndex>(buffer.size()), callback,
                                           context);
}

void io_hid_device::register_removal_callback(IOHIDCallback callback, void* context) const noexcept
{
    IOHIDDeviceRegisterRemovalCallback(device_, callback, context);
}

void io_hid_device::schedule_with_run_loop(CFRunLoopRef run_loop, CFStringRef mode) const noexcept
{
    IOHIDDeviceScheduleWithRunLoop(device_, run_loop, mode);
}

void io_hid_device::unschedule_from_run_loop(CFRunLoopRef run_loop, CFStringRef mode) const noexcept
{
    IOHIDDeviceUnscheduleFromRunLoop(device_, run_loop, mode);
}

void io_hid_device::set_report(IOHIDReportType type, long report_id, std::span<std::uint8_t const> data) const
{
    detail::throw_if_failed(
        IOHIDDeviceSetReport(device_, type, report_id, data.data(), static_cast<CFIndex>(data.size())),
        "IOHIDDeviceSetReport");
}

std::size_t io_hid_device::get_report(IOHIDReportType type, long report_id, std::span<std::uint8_t> buffer) const
{
    auto length = static_cast<CFIndex>(buffer.size());
    detail::throw_if_failed(IOHIDDeviceGetReport(device_, type, report_id, buffer.data(), &length),
                            "IOHIDDeviceGetReport");
    return static_cast<std::size_t>(length);
}

void io_hid_device::set_report_with_callback(IOHIDReportType type, long report_id, std::span<std::uint8_t const> data,
                                             double timeout_ms, IOHIDReportCallback callback, void* context) const
{
    detail::throw_if_failed(IOHIDDeviceSetReportWithCallback(device_, type, report_id, data.data(),
                                                             static_cast<CFIndex>(data.size()), timeout_ms, callback,
                                                             context),
                            "IOHIDDeviceSetReportWithCallback");
}

void io_hid_device::get_report_with_callback(IOHIDReportType type, long report_id, std::span<std::uint8_t> buffer,
                                             double timeout_ms, IOHIDReportCallback callback, void* context) const
{
    // IOKit reads the length here and reports the one received to the callback.
    auto length = static_cast<CFIndex>(buffer.size());
    detail::throw_if_failed(IOHIDDeviceGetReportWithCallback(device_, type, report_id, buffer.data(), &length,
                                                             timeout_ms, callback, context),
                            "IOHIDDeviceGetReportWithCallback");
}

} // namespace plinth::apple::io_kit
