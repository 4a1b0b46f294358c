// The IOHIDDeviceRef object: its service, its client, and its properties.
#include "sim/detail/hid/hid_device_object.hpp"

#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_type_registry.hpp"
#include "sim/detail/hid/hid_access.hpp"
#include "sim/detail/hid/hid_client.hpp"
#include "sim/detail/hid/hid_device_elements.hpp"
#include "sim/detail/kernel/absolute_time.hpp"
#include "sim/detail/registry/input_monitoring_tag.hpp"
#include "sim/detail/registry/registry_model.hpp"

#include <sstream>

namespace plinth::sim::detail {

hid_device_object::hid_device_object(io_service_t service, std::shared_ptr<registry_entry> entry)
    : cf_object(class_type_id(), false), service_(service), entry_(std::move(entry))
{
}

hid_device_object::~hid_device_object()
{
    if (client_)
        client_->detach();
    elements_.reset();
    for (auto const& [key, value] : properties_)
        CFRelease(value);
    IOObjectRelease(service_);
}

CFTypeID hid_device_object::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("IOHIDDevice");
    return id;
}

void hid_device_object::attach_client(std::shared_ptr<hid_client> client)
{
    client_ = std::move(client);
}

IOReturn hid_device_object::connect()
{
    bool const gated = registry_model::instance().read([&](registry_model const&) {
        auto const* tag = entry_->find_property(requires_tcc_authorization_key);
        return tag != nullptr && *tag == value(true);
    });
    if (!gated)
        return kIOReturnSuccess;
    std::lock_guard const lock(mutex_);
    // A device tagged for Input Monitoring asks the user (listen-event access) the
    // first time its IOHIDDeviceRef needs the kernel, whatever the open options; the
    // answer is kept in the IOHIDDeviceRef, and a refusal stops the connection
    // before it reaches the kernel, so no user client appears.
    if (!listen_access_)
        listen_access_ = hid_access::instance().request(kIOHIDRequestTypeListenEvent);
    return *listen_access_ ? kIOReturnSuccess : kIOReturnNotPermitted;
}

CFTypeRef hid_device_object::property(CFStringRef key)
{
    auto const name = utf8_of(key, "IOHIDDeviceGetProperty");
    std::lock_guard const lock(mutex_);
    if (auto const known = properties_.find(name); known != properties_.end())
        return known->second;
    CFTypeRef const found = IORegistryEntrySearchCFProperty(service_, kIOServicePlane, key, kCFAllocatorDefault,
                                                            kIORegistryIterateRecursively | kIORegistryIterateParents);
    if (found != nullptr)
        properties_.emplace(name, found);
    return found;
}

hid_device_elements* hid_device_object::elements()
{
    std::call_once(elements_made_, [this] {
        CFStringRef const key =
            CFStringCreateWithCString(kCFAllocatorDefault, "ReportDescriptor", kCFStringEncodingUTF8);
        CFTypeRef const descriptor = property(key);
        CFRelease(key);
        if (descriptor == nullptr || CFGetTypeID(descriptor) != CFDataGetTypeID())
            return;
        auto const data = static_cast<CFDataRef>(descriptor);
        auto layout = hid_element_layout::of_descriptor(
            {CFDataGetBytePtr(data), static_cast<std::size_t>(CFDataGetLength(data))});
        if (!layout)
            return;
        elements_ = std::make_unique<hid_device_elements>(cf_ref<IOHIDDeviceRef>(this), layout);
        client_->attach_elements(std::move(layout));
    });
    return elements_.get();
}

std::string hid_device_object::description() const
{
    std::ostringstream out;
    out << description_head() << "{service = " << service_ << "}";
    return out.str();
}

void hid_device_object::register_stamped_input(std::uint8_t* buffer, CFIndex length,
                                               IOHIDReportWithTimeStampCallback callback, void* context)
{
    {
        std::lock_guard const lock(mutex_);
        stamped_callback_ = callback;
        stamped_context_ = context;
    }
    client().register_input(buffer, length, callback != nullptr ? stamped_report_arrived : nullptr,
                            callback != nullptr ? this : nullptr);
}

void hid_device_object::stamped_report_arrived(void* context, IOReturn result, void* sender, IOHIDReportType type,
                                               std::uint32_t id, std::uint8_t* report, CFIndex length)
{
    auto const stamp = absolute_time_now();
    auto* const device = static_cast<hid_device_object*>(context);
    IOHIDReportWithTimeStampCallback callback = nullptr;
    void* callback_context = nullptr;
    {
        std::lock_guard const lock(device->mutex_);
        callback = device->stamped_callback_;
        callback_context = device->stamped_context_;
    }
    if (callback != nullptr)
        callback(callback_context, result, sender, type, id, report, length, stamp);
}

} // namespace plinth::sim::detail
