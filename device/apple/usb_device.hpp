// usb_device: a host USB device's entry: IOUSB-plane navigation, identity, descriptor; filter_usb_device.
#pragma once

#include "device/apple/device.hpp"
#include "io_kit/io_iterator.hpp"

#include <span>
#include <string>

namespace plinth::apple {

// A device of the host USB stack (class "IOUSBHostDevice"), with its navigation in
// the IOUSB plane, its identity and the descriptor values the registry publishes.
// Built from any device: an entry of another class gives the null usb_device,
// whose getters fail as get_property fails on the empty device.
//
// Property getters throw what device::get_property throws for an absent or
// unsupported property, and mpark::bad_variant_access for a value of another kind
// than the one expected; none converts between kinds.
class usb_device : public device
{
public:
    // The standard USB device descriptor, field by field as the registry holds the
    // numbers: not narrowed to the USB widths, not range checked.
    struct device_descriptor
    {
        int bDeviceClass = 0;
        int bDeviceSubClass = 0;
        int bDeviceProtocol = 0;
        int bMaxPacketSize0 = 0;
        int idVendor = 0;
        int idProduct = 0;
        int bcdDevice = 0;
        int iManufacturer = 0;
        int iProduct = 0;
        int iSerialNumber = 0;
        int bNumConfigurations = 0;
    };

    // The null usb_device.
    usb_device() noexcept = default;

    // Keeps `d` when its entry conforms to "IOUSBHostDevice", the null handle
    // otherwise.
    explicit usb_device(device d) noexcept;

    // The parent in the IOUSB plane when it is a USB device itself; null for a hub
    // or host controller object, or when there is no parent.
    usb_device get_usb_parent() const;
    io_kit::io_iterator get_usb_children() const;
    std::string get_usb_name() const;
    std::string get_usb_path() const;

    int get_address() const;

    // "PortNum" when the entry has it as a number; otherwise the "port" data of the
    // first IOService parent that has four bytes of it. A parent without "port"
    // throws its property error. When the parents run out, throws std::system_error
    // (not Boost's) "get_port_number" with errc::invalid_port_size if a wrongly
    // sized "port" was seen, errc::no_service_parent if there was no parent at all.
    // A second wrongly sized "port" is taken as the answer: its first four bytes,
    // or, when shorter, its bytes in the low-order positions and zero above.
    int get_port_number() const;

    // The eleven descriptor values, read in the record's order; the first failing
    // read ends it.
    device_descriptor get_device_descriptor() const;

    std::string get_manufacturer() const;
    std::string get_product() const;
    std::string get_serial_number() const;
    int get_location_id() const;
};

// Decides which of the caller's known USB devices stands for `candidate`:
// - a USB host device outside the IOUSB plane: the first element with the same
//   location ID, or the null device (any failure while reading location IDs,
//   such as a non-USB element met before the match, gives `candidate` instead);
// - otherwise an "IOUSBDevice": the first element equal to it, or the null device;
// - otherwise `candidate` itself when it is a serial port, a PCI device or bridge
//   or a HID device, and the null device for anything else.
device filter_usb_device(device const& candidate, std::span<device const> usb_devices) noexcept;

} // namespace plinth::apple
