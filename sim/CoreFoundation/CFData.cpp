// CFData's C entry points: creating byte buffers, reading and changing their bytes.
#include <CoreFoundation/CFData.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_data.hpp"
#include "sim/detail/cf/cf_lifetime.hpp"
#include "sim/detail/cf/cf_range_check.hpp"

#include <algorithm>
#include <string>

namespace detail = plinth::sim::detail;
using detail::cf_data;

namespace {

bool valid_bytes(UInt8 const* bytes, CFIndex length, char const* function)
{
    return detail::cf_input_valid(bytes != nullptr, length, function, "no bytes or a negative length");
}

// A mutable data made with a capacity cannot grow beyond it (CF asserts).
bool fits_capacity(cf_data const& data, std::size_t length, char const* function)
{
    if (data.capacity() == 0 || length <= data.capacity())
        return true;
    plinth::sim::detail::report_misuse(std::string(function) + ": length " + std::to_string(length) +
                                       " exceeds the capacity " + std::to_string(data.capacity()));
    return false;
}

} // namespace

extern "C" {

CFTypeID CFDataGetTypeID(void)
{
    return cf_data::class_type_id();
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length)
{
    if (!valid_bytes(bytes, length, "CFDataCreate"))
        return nullptr;
    std::vector<UInt8> copy(bytes, bytes + length);
    return detail::cf_ref<CFDataRef>(detail::make_cf_object<cf_data>(std::move(copy), false));
}

CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef theData)
{
    auto const* data = detail::cf_checked<cf_data>(theData, "CFDataCreateCopy");
    if (data == nullptr)
        return nullptr;
    return detail::cf_ref<CFDataRef>(detail::make_cf_object<cf_data>(data->bytes(), false));
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex capacity)
{
    if (!detail::cf_capacity_valid(capacity, "CFDataCreateMutable"))
        return nullptr;
    auto* data = detail::make_cf_object<cf_data>(std::vector<UInt8>(), true, static_cast<std::size_t>(capacity));
    return detail::cf_ref<CFMutableDataRef>(data);
}

CFIndex CFDataGetLength(CFDataRef theData)
{
    auto const* data = detail::cf_checked<cf_data>(theData, "CFDataGetLength");
    return data == nullptr ? 0 : static_cast<CFIndex>(data->bytes().size());
}

const UInt8* CFDataGetBytePtr(CFDataRef theData)
{
    auto const* data = detail::cf_checked<cf_data>(theData, "CFDataGetBytePtr");
    return data == nullptr ? nullptr : data->bytes().data();
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData)
{
    auto* data = detail::cf_checked_mutable<cf_data>(theData, "CFDataGetMutableBytePtr");
    return data == nullptr ? nullptr : data->bytes().data();
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer)
{
    auto const* data = detail::cf_checked<cf_data>(theData, "CFDataGetBytes");
    if (data == nullptr || !detail::cf_range_within(range, data->bytes().size(), "CFDataGetBytes"))
        return;
    if (buffer == nullptr && range.length > 0)
    {
        plinth::sim::detail::report_misuse("CFDataGetBytes: NULL buffer");
        return;
    }
    auto const first = data->bytes().begin() + range.location;
    std::copy(first, first + range.length, buffer);
}

// Bytes added by lengthening are zero, as CF documents.
void CFDataSetLength(CFMutableDataRef theData, CFIndex length)
{
    auto* data = detail::cf_checked_mutable<cf_data>(theData, "CFDataSetLength");
    if (data == nullptr)
        return;
    if (length < 0)
    {
        plinth::sim::detail::report_misuse("CFDataSetLength: negative length " + std::to_string(length));
        return;
    }
    if (fits_capacity(*data, static_cast<std::size_t>(length), "CFDataSetLength"))
        data->bytes().resize(static_cast<std::size_t>(length), 0);
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length)
{
    auto* data = detail::cf_checked_mutable<cf_data>(theData, "CFDataAppendBytes");
    if (data == nullptr || !valid_bytes(bytes, length, "CFDataAppendBytes"))
        return;
    auto& stored = data->bytes();
    if (fits_capacity(*data, stored.size() + static_cast<std::size_t>(length), "CFDataAppendBytes"))
    {
        std::vector<UInt8> const added(bytes, bytes + length); // the bytes may lie in this very data
        stored.insert(stored.end(), added.begin(), added.end());
    }
}

} // extern "C"
