// CF::Dictionary: sharing a borrowed dictionary, the type check, and lookups that own their result.
#include "io_kit/cf/dictionary.hpp"

#include "io_kit/detail/keep_if_type.hpp"
#include "io_kit/detail/share.hpp"

namespace CF {

Dictionary::Dictionary(CFDictionaryRef dictionary) noexcept
    : dictionary_(plinth::apple::io_kit::detail::share(dictionary))
{
}

Dictionary::Dictionary(AutoPointer const& pointer) noexcept
    : dictionary_(plinth::apple::io_kit::detail::keep_if_type(pointer, CFDictionaryGetTypeID()))
{
}

CFTypeRef Dictionary::GetTypeRef() const noexcept
{
    return dictionary_.GetTypeRef();
}

CFIndex Dictionary::GetCount() const noexcept
{
    auto const dictionary = static_cast<CFDictionaryRef>(GetTypeRef());
    return dictionary != nullptr ? CFDictionaryGetCount(dictionary) : 0;
}

AutoPointer Dictionary::GetValue(String const& key) const noexcept
{
    auto const dictionary = static_cast<CFDictionaryRef>(GetTypeRef());
    CFTypeRef const key_object = key.GetTypeRef();
    if (dictionary == nullptr || key_object == nullptr)
        return {};
    // CFDictionaryGetValue follows the Get rule; the result gets its own reference.
    return plinth::apple::io_kit::detail::share(CFDictionaryGetValue(dictionary, key_object));
}

} // namespace CF
