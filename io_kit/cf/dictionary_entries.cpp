// CF::GetEntries: CFDictionaryGetKeysAndValues, with each borrowed key and value retained.
#include "io_kit/cf/dictionary_entries.hpp"

#include "io_kit/detail/share.hpp"

namespace CF {

std::vector<DictionaryEntry> GetEntries(Dictionary const& dictionary)
{
    auto const count = dictionary.GetCount();
    if (count <= 0)
        return {};
    auto const size = static_cast<std::size_t>(count);
    std::vector<void const*> keys(size);
    std::vector<void const*> values(size);
    CFDictionaryGetKeysAndValues(static_cast<CFDictionaryRef>(dictionary.GetTypeRef()), keys.data(), values.data());
    // Keys and values follow the Get rule; each result gets its own reference.
    using plinth::apple::io_kit::detail::share;
    std::vector<DictionaryEntry> entries;
    entries.reserve(size);
    for (std::size_t i = 0; i < size; ++i)
        entries.emplace_back(share(keys[i]), share(values[i]));
    return entries;
}

} // namespace CF
