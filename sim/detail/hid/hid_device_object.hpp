// The IOHIDDeviceRef object: a CF object holding its service and one client of the device.
#pragma once

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_object.hpp"

#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDBase.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace plinth::sim::detail {

class hid_client;
class hid_device_elements;
class registry_entry;

// What an IOHIDDeviceRef is: a CF object that holds its service and one client of
// the device, and keeps the properties it handed out alive (the Get rule).
class hid_device_object final : public cf_object
{
public:
    hid_device_object(io_service_t service, std::shared_ptr<registry_entry> entry);
    ~hid_device_object() override;

    static CFTypeID class_type_id();

    io_service_t service() const noexcept { return service_; }
    hid_client& client() const noexcept { return *client_; }
    void attach_client(std::shared_ptr<hid_client> client);

    // What every call that needs the device object's kernel connection calls
    // first: kIOReturnNotPermitted when the user denies this process Input
    // Monitoring for the device, else kIOReturnSuccess.
    IOReturn connect();

    // The property `key` of the service or its nearest IOService ancestor that has
    // it; kept until the device goes. Null when absent.
    CFTypeRef property(CFStringRef key);

    // The device's elements, made from its "ReportDescriptor" on first use (and
    // handed to its client, which keeps their values); nullptr when it has none
    // or it does not parse.
    hid_device_elements* elements();

    // Input reports for a callback that also takes their time stamp: the client
    // calls a plain callback of the object's, which adds the time. The client has
    // one input callback, so registering this or a plain one replaces the other.
    void register_stamped_input(std::uint8_t* buffer, CFIndex length, IOHIDReportWithTimeStampCallback callback,
                                void* context);

    std::string description() const override;

private:
    static void stamped_report_arrived(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                       std::uint32_t id, std::uint8_t* report, CFIndex length);

    io_service_t service_;
    std::shared_ptr<registry_entry> entry_;
    std::shared_ptr<hid_client> client_;
    std::mutex mutex_;
    std::map<std::string, CFTypeRef> properties_; // retained
    std::optional<bool> listen_access_;           // the user's answer, once asked
    std::once_flag elements_made_;
    std::unique_ptr<hid_device_elements> elements_;
    IOHIDReportWithTimeStampCallback stamped_callback_ = nullptr;
    void* stamped_context_ = nullptr;
};

// The device behind an IOHIDDeviceRef given to `function`, or nullptr after a
// misuse report.
inline hid_device_object* checked_hid_device(IOHIDDeviceRef device, char const* function)
{
    return cf_checked<hid_device_object>(device, function);
}

} // namespace plinth::sim::detail
