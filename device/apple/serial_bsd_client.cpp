#include "device/apple/serial_bsd_client.hpp"

#include <utility>

namespace plinth::apple {
namespace {

std::string get_string(device const& d, char const* key)
{
    return mpark::get<std::string>(d.get_property(key));
}

} // namespace

serial_bsd_client::serial_bsd_client(device d) noexcept
    : device(d.conforms_to_class("IOSerialBSDClient") ? std::move(d) : device())
{
}

std::string serial_bsd_client::get_tty_base_name() const
{
    return get_string(*this, "IOTTYBaseName");
}

std::string serial_bsd_client::get_tty_suffix() const
{
    return get_string(*this, "IOTTYSuffix");
}

std::string serial_bsd_client::get_tty_device() const
{
    return get_string(*this, "IOTTYDevice");
}

std::string serial_bsd_client::get_type() const
{
    return get_string(*this, "IOSerialBSDClientType");
}

std::string serial_bsd_client::get_callout_device() const
{
    return get_string(*this, "IOCalloutDevice");
}

std::string serial_bsd_client::get_dialin_device() const
{
    return get_string(*this, "IODialinDevice");
}

} // namespace plinth::apple
