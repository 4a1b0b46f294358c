// CF::Set: the type check and CFSetGetValues, with each borrowed value retained.
#include "io_kit/cf/set.hpp"

#include "io_kit/detail/keep_if_type.hpp"
#include "io_kit/detail/share.hpp"

namespace CF {

Set::Set(AutoPointer const& pointer) noexcept
    : set_(plinth::apple::io_kit::detail::keep_if_type(pointer, CFSetGetTypeID()))
{
}

CFTypeRef Set::GetTypeRef() const noexcept
{
    return set_.GetTypeRef();
}

CFIndex Set::GetCount() const noexcept
{
    auto const set = static_cast<CFSetRef>(GetTypeRef());
    return set != nullptr ? CFSetGetCount(set) : 0;
}

std::vector<AutoPointer> Set::GetValues() const
{
    auto const count = GetCount();
    if (count <= 0)
        return {};
    std::vector<void const*> raw(static_cast<std::size_t>(count));
    CFSetGetValues(static_cast<CFSetRef>(GetTypeRef()), raw.data());
    // The values follow the Get rule; each result gets its own reference.
    std::vector<AutoPointer> values;
    values.reserve(raw.size());
    for (auto const* value : raw)
        values.push_back(plinth::apple::io_kit::detail::share(value));
    return values;
}

} // namespace CF
