// usb_device: the USB property reads, the port-number fallbacks, and filter_usb_device's matching rules.
#include "device/apple/usb_device.hpp"

#include "device/apple/detail/property_as.hpp"

#include "error/errc.hpp"
#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/cf/number.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_registry_entry.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <boost/system/error_code.hpp>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>
#include <vector>

namespace plinth::apple {
namespace {

constexpr char const* usb_host_device_class = "IOUSBHostDevice";

int get_int(device const& d, char const* key)
{
    return detail::property_as<int>(d, key);
}

std::string get_string(device const& d, char const* key)
{
    return detail::property_as<std::string>(d, key);
}

// The bytes in host byte order, as the kernel stored the number: at most four of
// them, shorter values filling the low-order positions with zero above.
int from_host_bytes(std::vector<std::byte> const& bytes) noexcept
{
    int value = 0;
    if (!bytes.empty())
        std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
    return value;
}

} // namespace

usb_device::usb_device(device d) noexcept : device(d.conforms_to_class(usb_host_device_class) ? std::move(d) : device())
{
}

usb_device usb_device::get_usb_parent() const
{
    return usb_device(get_parent(plane::usb));
}

io_kit::io_iterator usb_device::get_usb_children() const
{
    return get_children(plane::usb);
}

std::string usb_device::get_usb_name() const
{
    return get_name(plane::usb);
}

std::string usb_device::get_usb_path() const
{
    return get_path(plane::usb);
}

int usb_device::get_address() const
{
    return get_int(*this, "USB Address");
}

int usb_device::get_port_number() const
{
    // "PortNum" is optional: a missing or non-numeric one is no error here, so it
    // is read without get_property's conversion and its exceptions.
    {
        CF::String const key("PortNum", kCFStringEncodingUTF8);
        CF::Number const port_number(get_entry().create_cf_property_(key, 0));
        if (port_number.IsValid())
            return static_cast<int>(port_number);
    }

    boost::system::error_code error;
    auto parents = get_parents(plane::service);
    for (device parent(io_kit::io_registry_entry(parents.next())); parent;
         parent = device(io_kit::io_registry_entry(parents.next())))
    {
        auto const port = mpark::get<std::vector<std::byte>>(parent.get_property("port"));
        if (port.size() == sizeof(int))
            return from_host_bytes(port);
        if (!error)
        {
            error = make_error_code(errc::invalid_port_size);
            continue;
        }
        // Two parents with a wrongly sized "port": the second one is the answer.
        return from_host_bytes(port);
    }
    if (!error)
        error = make_error_code(errc::no_service_parent);
    throw std::system_error(static_cast<std::error_code>(error), "get_port_number");
}

usb_device::device_descriptor usb_device::get_device_descriptor() const
{
    // Designated initialisers run in order, so the reads do too.
    return device_descriptor{
        .bDeviceClass = get_int(*this, "bDeviceClass"),
        .bDeviceSubClass = get_int(*this, "bDeviceSubClass"),
        .bDeviceProtocol = get_int(*this, "bDeviceProtocol"),
        .bMaxPacketSize0 = get_int(*this, "bMaxPacketSize0"),
        .idVendor = get_int(*this, "idVendor"),
        .idProduct = get_int(*this, "idProduct"),
        .bcdDevice = get_int(*this, "bcdDevice"),
        .iManufacturer = get_int(*this, "iManufacturer"),
        .iProduct = get_int(*this, "iProduct"),
        .iSerialNumber = get_int(*this, "iSerialNumber"),
        .bNumConfigurations = get_int(*this, "bNumConfigurations"),
    };
}

std::string usb_device::get_manufacturer() const
{
    return get_string(*this, "USB Vendor Name");
}

std::string usb_device::get_product() const
{
    return get_string(*this, "USB Product Name");
}

std::string usb_device::get_serial_number() const
{
    return get_string(*this, "USB Serial Number");
}

int usb_device::get_location_id() const
{
    return get_int(*this, "locationID");
}

device filter_usb_device(device const& candidate, std::span<device const> usb_devices) noexcept
{
    // Kinds that stand for themselves. The fifth name is empty on purpose and is
    // asked like the others.
    static std::string const relevant_classes[5] = {"IOSerialBSDClient", "IOPCIDevice", "IOPCIBridge", "IOHIDDevice"};

    try
    {
        usb_device const usb(candidate);
        if (usb && !usb.is_in_plane(plane::usb))
        {
            // A host device seen from the service side: the caller's device at the
            // same place in the USB topology.
            auto const location = usb.get_location_id();
            for (auto const& element : usb_devices)
                if (usb_device(element).get_location_id() == location)
                    return element;
            return device();
        }
    }
    catch (std::exception const&)
    {
        // Any element that cannot say where it is spoils the search; the entry
        // then stands for itself.
        return candidate;
    }

    if (candidate.conforms_to_class("IOUSBDevice"))
    {
        for (auto const& element : usb_devices)
            if (element == candidate)
                return element;
        return device();
    }

    for (auto const& class_name : relevant_classes)
        if (candidate.conforms_to_class(class_name))
            return candidate;
    return device();
}

} // namespace plinth::apple
