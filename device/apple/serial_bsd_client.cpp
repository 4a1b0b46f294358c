// serial_bsd_client: each getter reads one string property of the serial port's entry.
#include "device/apple/serial_bsd_client.hpp"

#include "device/apple/detail/property_as.hpp"

#include <utility>

namespace plinth::apple {

serial_bsd_client::serial_bsd_client(device d) noexcept
    : device(d.conforms_to_class("IOSerialBSDClient") ? std::move(d) : device())
{
}

std::string serial_bsd_client::get_tty_base_name() const
{
    return detail::property_as<std::string>(*this, "IOTTYBaseName");
}

std::string serial_bsd_client::get_tty_suffix() const
{
    return detail::property_as<std::string>(*this, "IOTTYSuffix");
}

std::string serial_bsd_client::get_tty_device() const
{
    return detail::property_as<std::string>(*this, "IOTTYDevice");
}

std::string serial_bsd_client::get_type() const
{
    return detail::property_as<std::string>(*this, "IOSerialBSDClientType");
}

std::string serial_bsd_client::get_callout_device() const
{
    return detail::property_as<std::string>(*this, "IOCalloutDevice");
}

std::string serial_bsd_client::get_dialin_device() const
{
    return detail::property_as<std::string>(*this, "IODialinDevice");
}

} // namespace plinth::apple
