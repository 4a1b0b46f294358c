#include "tools/plinth-ioreg/property_reader.hpp"

#include "error/errc.hpp"
#include "io_kit/cf/dictionary_entries.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_registry_entry_properties.hpp"
#include "tools/plinth-ioreg/cf_value_reader.hpp"

#include <boost/system/system_error.hpp>

namespace plinth::ioreg_tool {
namespace {

// The value as the library reads it, or the dictionary's copy where the library
// has no type for it, or the property is gone by now (the registry may change
// between the two reads).
property_value read_one(apple::device const& device, std::string const& key, CF::AutoPointer const& stored)
{
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
    switch (value.index()) {
    case 1:
        return mpark::get<std::string>(std::move(value));
    case 2:
        return mpark::get<std::vector<std::byte>>(std::move(value));
    case 3:
        return mpark::get<bool>(value);
    default:
        return read_cf_value(stored);
    }
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
