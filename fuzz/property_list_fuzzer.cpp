// Reads the bytes as property-list text the way Mac programs do: through
// IOCFUnserialize (IOKit's XML, or plain property-list XML) and through
// CFPropertyListCreateWithData (XML or binary). Every value read must write back
// (IOCFSerialize, and CFPropertyListCreateData in XML and binary for what they can
// hold) and read back
// equal; text that does not read must say why; and nothing may outlive the input.
#include "sim/control/diagnostics.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFSerialize.h>
#include <IOKit/IOCFUnserialize.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Stops at the first broken promise, saying which.
void require(bool condition, char const* promise)
{
    if (condition)
        return;
    std::fprintf(stderr, "property_list_fuzzer: broken: %s\n", promise);
    std::abort();
}
#define require(condition) require((condition), #condition)

void release(CFTypeRef object)
{
    if (object != nullptr)
        CFRelease(object);
}

// IOKit's own text: what IOCFSerialize writes of a value reads back equal.
void check_iokit_round_trip(CFTypeRef value)
{
    CFDataRef const written = IOCFSerialize(value, 0);
    require(written != nullptr);
    CFStringRef why = nullptr;
    std::string const text(reinterpret_cast<char const*>(CFDataGetBytePtr(written)),
                           static_cast<std::size_t>(CFDataGetLength(written)));
    CFTypeRef const again = IOCFUnserialize(text.c_str(), kCFAllocatorDefault, 0, &why);
    require(again != nullptr && why == nullptr && CFEqual(again, value));
    release(again);
    release(written);
}

void check_round_trip(CFPropertyListRef value, CFPropertyListFormat format)
{
    CFErrorRef error = nullptr;
    CFDataRef const written = CFPropertyListCreateData(kCFAllocatorDefault, value, format, 0, &error);
    if (written == nullptr)
    {
        // Only what the format cannot hold is refused, and it says so.
        require(error != nullptr);
        release(error);
        return;
    }
    CFPropertyListRef const again =
        CFPropertyListCreateWithData(kCFAllocatorDefault, written, kCFPropertyListImmutable, nullptr, &error);
    require(again != nullptr && error == nullptr && CFEqual(again, value));
    release(again);
    release(written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    std::string const text(reinterpret_cast<char const*>(bytes), size);

    CFStringRef why = nullptr;
    CFTypeRef const unserialized = IOCFUnserializeWithSize(text.c_str(), text.size() + 1, kCFAllocatorDefault, 0, &why);
    if (unserialized == nullptr)
        require(why != nullptr && CFStringGetLength(why) > 0);
    else
    {
        require(why == nullptr);
        check_iokit_round_trip(unserialized);
    }
    release(unserialized);
    release(why);

    CFDataRef const data = CFDataCreate(kCFAllocatorDefault, bytes, static_cast<CFIndex>(size));
    CFPropertyListFormat format = 0;
    CFErrorRef error = nullptr;
    CFPropertyListRef const read = CFPropertyListCreateWithData(
        kCFAllocatorDefault, data, kCFPropertyListMutableContainersAndLeaves, &format, &error);
    if (read == nullptr)
        require(error != nullptr);
    else
    {
        require(error == nullptr);
        check_round_trip(read, kCFPropertyListXMLFormat_v1_0);
        check_round_trip(read, kCFPropertyListBinaryFormat_v1_0);
    }
    release(read);
    release(error);
    release(data);

    require(plinth::sim::live_cf_objects() == 0);
    plinth::sim::clear_misuse_reports();
    return 0;
}
