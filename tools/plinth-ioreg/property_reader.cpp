#include "tools/plinth-ioreg/property_reader.hpp"

#include "error/errc.hpp"
#include "io_kit/cf/dictionary_entries.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_registry_entry_properties.hpp"
#include "tools/plinth-ioreg/cf_value_reader.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <boost/system/system_error.hpp>

namespace plinth::ioreg_tool {
namespace {

// Whether the library's device::get_property gives the value whole: strings, data
// and booleans. Numbers it narrows to 32-bit signed and collections it has no
// type for; those are taken from the dictionary's copy straight away, without a
// second registry lookup whose answer would be thrown away.
bool library_reads_whole(CF::AutoPointer const& stored)
{
    auto const type = CFGetTypeID(stored.GetTypeRef());
    return type == CFStringGetTypeID() || type == CFDataGetTypeID() || type == CFBooleanGetTypeID();
}

// The value as the library reads it, or the dictionary's copy where the library
// does not read it whole, or the property is gone or changed type by now (the
// registry may change between the two reads).
property_value read_one(apple::device const& device, std::string const& key, CF::AutoPointer const& stored)
{
    if (!library_reads_whole(stored))
        return read_cf_value(stored);
    apple::device::property_type value;
    try {
        value = device.get_property(key.c_str());
    }
    catch (boost::system::system_error const& e) {
        if (e.code() != make_error_code(errc::unsupported_property_type) &&
            e.code() != make_error_code(errc::property_not_found))
            throw;
        return read_cf_value(stored);
    }
    if (auto* text = mpark::get_if<std::string>(&value))
        return std::move(*text);
    if (auto* bytes = mpark::get_if<std::vector<std::byte>>(&value))
        return std::move(*bytes);
    if (auto const* truth = mpark::get_if<bool>(&value))
        return *truth;
    return read_cf_value(stored);
}

} // namespace

property_dictionary read_properties(registry_entry const& entry)
{
    property_dictionary properties;
    auto const dictionary = apple::io_kit::create_cf_properties(entry.view());
    for (auto const& [key, value] : CF::GetEntries(dictionary)) {
        auto name = CF::String(key).GetValue();
        auto read = read_one(entry.device(), name, value);
        properties.emplace_back(std::move(name), std::move(read));
    }
    return properties;
}

} // namespace plinth::ioreg_tool
