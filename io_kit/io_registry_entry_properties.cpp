// io_registry_entry_properties: IORegistryEntryCreateCFProperties, its dictionary released even on failure.
#include "io_kit/io_registry_entry_properties.hpp"

#include "io_kit/cf/auto_pointer.hpp"
#include "io_kit/detail/throw_if_failed.hpp"

namespace plinth::apple::io_kit {

CF::Dictionary create_cf_properties(io_registry_entry_view entry)
{
    CFMutableDictionaryRef properties = nullptr;
    auto const result = IORegistryEntryCreateCFProperties(entry.get(), &properties, kCFAllocatorDefault, 0);
    // Owned from here on, so that it is released whether or not IOKit also failed.
    CF::AutoPointer const owned(properties);
    detail::throw_if_failed(result, "IORegistryEntryCreateCFProperties");
    return CF::Dictionary(owned);
}

} // namespace plinth::apple::io_kit
