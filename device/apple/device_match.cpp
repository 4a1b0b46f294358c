// device_match: IDs from the USB keys, else the HID ones; usages from the primary pair and DeviceUsagePairs.
#include "device/apple/device_match.hpp"

#include "property/value.hpp"

#include <boost/system/error_code.hpp>
#include <boost/system/system_error.hpp>

#include <variant>

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

// `value` as a number, when it is one.
std::optional<std::int64_t> as_number(property::value const& value) noexcept
{
    if (auto const* number = std::get_if<property::number>(&value.content))
        return number->as_signed();
    return std::nullopt;
}

// The number under `key` in a dictionary value; nothing when absent or no number.
std::optional<std::int64_t> number_in(property::dictionary const& dictionary, char const* key) noexcept
{
    auto const* found = property::find_key(dictionary, key);
    return found ? as_number(*found) : std::nullopt;
}

// Whether a usage pair the entry gives, either half of it possibly absent, is the
// one asked for: an absent half matches only what is not asked for.
bool pair_matches(std::optional<std::int64_t> page, std::optional<std::int64_t> usage, std::optional<int> wanted_page,
                  std::optional<int> wanted_usage) noexcept
{
    return (!wanted_page || page == *wanted_page) && (!wanted_usage || usage == *wanted_usage);
}

} // namespace

device_match device_match::hid_with_usage(int usage_page_, std::optional<int> usage_)
{
    device_match match("IOHIDDevice");
    match.usage_page = usage_page_;
    match.usage = usage_;
    return match;
}

bool device_match::accepts(device const& entry) const noexcept
{
    if (vendor_id && get_id_property(entry, "idVendor", "VendorID") != vendor_id)
        return false;
    if (product_id && get_id_property(entry, "idProduct", "ProductID") != product_id)
        return false;
    if (!usage_page && !usage)
        return true;

    // Properties read with an error_code: an absent key is an answer here, not a fault.
    auto const read = [&entry](char const* key) {
        boost::system::error_code ec;
        return entry.get_property_value(key, ec);
    };
    auto number_of = [&read](char const* key) -> std::optional<std::int64_t> {
        auto const value = read(key);
        return value ? as_number(*value) : std::nullopt;
    };
    try
    {
        if (pair_matches(number_of("PrimaryUsagePage"), number_of("PrimaryUsage"), usage_page, usage))
            return true;
        auto const pairs = read("DeviceUsagePairs");
        auto const* list = pairs ? std::get_if<property::array>(&pairs->content) : nullptr;
        if (!list)
            return false;
        for (auto const& item : *list)
            if (auto const* pair = std::get_if<property::dictionary>(&item.content))
                if (pair_matches(number_in(*pair, "DeviceUsagePage"), number_in(*pair, "DeviceUsage"), usage_page,
                                 usage))
                    return true;
    }
    catch (...)
    {
        // Reading allocates; an entry that cannot be read is no match, and this never throws.
    }
    return false;
}

} // namespace plinth::apple
