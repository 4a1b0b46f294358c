// serial_bsd_client: a serial port's entry: its terminal names and callout and dial-in device files.
#pragma once

#include "device/apple/device.hpp"

#include <string>

namespace plinth::apple {

// A serial port as the platform publishes it (class "IOSerialBSDClient"): its
// terminal names and device files. Built from any device: an entry of another
// class gives the null serial_bsd_client.
//
// Every getter reads one string property: an absent one throws get_property's
// error, one of another kind mpark::bad_variant_access.
class serial_bsd_client : public device
{
public:
    // The null serial_bsd_client.
    serial_bsd_client() noexcept = default;

    // Keeps `d` when its entry conforms to "IOSerialBSDClient", the null handle
    // otherwise.
    explicit serial_bsd_client(device d) noexcept;

    std::string get_tty_base_name() const;  // "IOTTYBaseName"
    std::string get_tty_suffix() const;     // "IOTTYSuffix"
    std::string get_tty_device() const;     // "IOTTYDevice"
    std::string get_type() const;           // "IOSerialBSDClientType"
    std::string get_callout_device() const; // "IOCalloutDevice", the /dev/cu.* path
    std::string get_dialin_device() const;  // "IODialinDevice", the /dev/tty.* path
};

} // namespace plinth::apple
