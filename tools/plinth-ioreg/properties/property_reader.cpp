// Reading all of an entry's properties from one IORegistryEntryCreateCFProperties copy.
#include "tools/plinth-ioreg/properties/property_reader.hpp"

#include "io_kit/cf/dictionary_entries.hpp"
#include "io_kit/cf/string.hpp"
#include "io_kit/io_registry_entry_properties.hpp"
#include "tools/plinth-ioreg/properties/cf_value_reader.hpp"

namespace plinth::ioreg_tool {

property_dictionary read_properties(walked_entry const& entry)
{
    property_dictionary properties;
    auto const dictionary = apple::io_kit::create_cf_properties(entry.view());
    for (auto const& [key, value] : CF::GetEntries(dictionary))
        properties.emplace_back(CF::String(key).GetValue(), read_cf_value(value));
    return properties;
}

} // namespace plinth::ioreg_tool
