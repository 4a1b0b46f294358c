#include "io_kit/cf/dictionary_entries.hpp"

namespace CF {
namespace {

AutoPointer share(void const* object) noexcept
{
    return AutoPointer(object != nullptr ? CFRetain(object) : nullptr);
}

} // namespace

std::vector<DictionaryEntry> GetEntries(Dictionary const& dictionary)
{
    auto const count = dictionary.GetCount();
    if (count <= 0)
        return {};
    auto const size = static_cast<std::size_t>(count);
    std::vector<void const*> keys(size);
    std::vector<void const*> values(size);
    CFDictionaryGetKeysAndValues(static_cast<CFDictionaryRef>(dictionary.GetTypeRef()), keys.data(),
                                 values.data());
    // Keys and values follow the Get rule; each result gets its own reference.
    std::vector<DictionaryEntry> entries;
    entries.reserve(size);
    for (std::size_t i = 0; i < size; ++i)
        entries.emplace_back(share(keys[i]), share(values[i]));
    return entries;
}

} // namespace CF
