// device_match: vendor and product IDs read from the USB keys, else the HID ones.
#include "device/apple/device_match.hpp"

#include <boost/system/system_error.hpp>

namespace plinth::apple {
namespace {

// The entry's number under `usb_key`, or else under `hid_key`; nothing when it has
// neither as a number.
std::optional<int> get_id_property(device const& entry, char const* usb_key, char const* hid_key) noexcept
{
    for (char const* key : {usb_key, hid_key})
    {
        try
        {
            auto const value = entry.get_property(key);
            if (auto const* number = mpark::get_if<int>(&value))
                return *number;
        }
        catch (...)
        {
            // Absent, or of a kind that is no ID: try the other key.
        }
    }
    return std::nullopt;
}

} // namespace

bool device_match::accepts(device const& entry) const noexcept
{
    if (vendor_id && get_id_property(entry, "idVendor", "VendorID") != vendor_id)
        return false;
    if (product_id && get_id_property(entry, "idProduct", "ProductID") != product_id)
        return false;
    return true;
}

} // namespace plinth::apple
