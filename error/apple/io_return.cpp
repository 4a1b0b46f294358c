// io_return: the "IOReturn" category; messages name IOKit's common returns and give the value in hex.
#include "error/apple/io_return.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>

namespace plinth::apple {
namespace {

struct known_return
{
    std::uint32_t value;
    char const* name;
    char const* meaning;
};

// IOKit's common return values (sys_iokit | sub_iokit_common | code) and the Mach
// codes that its calls pass through, sorted by value for lookup.
constexpr known_return known_returns[] = {
    {0x00000004, "KERN_INVALID_ARGUMENT", "invalid argument"},
    {0x0000000f, "KERN_INVALID_NAME", "invalid port name"},
    {0x00000011, "KERN_INVALID_RIGHT", "invalid port right"},
    {0x10000003, "MACH_SEND_INVALID_DEST", "invalid destination port"},
    {0xe0000001, "kIOReturnInvalid", "should never be seen"},
    {0xe00002bc, "kIOReturnError", "general error"},
    {0xe00002bd, "kIOReturnNoMemory", "cannot allocate memory"},
    {0xe00002be, "kIOReturnNoResources", "resource shortage"},
    {0xe00002bf, "kIOReturnIPCError", "error during IPC"},
    {0xe00002c0, "kIOReturnNoDevice", "no such device"},
    {0xe00002c1, "kIOReturnNotPrivileged", "privilege violation"},
    {0xe00002c2, "kIOReturnBadArgument", "invalid argument"},
    {0xe00002c3, "kIOReturnLockedRead", "device read locked"},
    {0xe00002c4, "kIOReturnLockedWrite", "device write locked"},
    {0xe00002c5, "kIOReturnExclusiveAccess", "exclusive access and device already open"},
    {0xe00002c6, "kIOReturnBadMessageID", "sent and received messages had different message IDs"},
    {0xe00002c7, "kIOReturnUnsupported", "unsupported function"},
    {0xe00002c8, "kIOReturnVMError", "misc. VM failure"},
    {0xe00002c9, "kIOReturnInternalError", "internal error"},
    {0xe00002ca, "kIOReturnIOError", "general I/O error"},
    {0xe00002cc, "kIOReturnCannotLock", "cannot acquire lock"},
    {0xe00002cd, "kIOReturnNotOpen", "device not open"},
    {0xe00002ce, "kIOReturnNotReadable", "read not supported"},
    {0xe00002cf, "kIOReturnNotWritable", "write not supported"},
    {0xe00002d0, "kIOReturnNotAligned", "alignment error"},
    {0xe00002d1, "kIOReturnBadMedia", "media error"},
    {0xe00002d2, "kIOReturnStillOpen", "device(s) still open"},
    {0xe00002d4, "kIOReturnDMAError", "DMA failure"},
    {0xe00002d5, "kIOReturnBusy", "device busy"},
    {0xe00002d6, "kIOReturnTimeout", "I/O timeout"},
    {0xe00002d7, "kIOReturnOffline", "device offline"},
    {0xe00002d8, "kIOReturnNotReady", "not ready"},
    {0xe00002d9, "kIOReturnNotAttached", "device not attached"},
    {0xe00002db, "kIOReturnNoSpace", "no space for data"},
    {0xe00002e1, "kIOReturnMessageTooLarge", "message too large"},
    {0xe00002e2, "kIOReturnNotPermitted", "not permitted"},
    {0xe00002e3, "kIOReturnNoPower", "no power to device"},
    {0xe00002e4, "kIOReturnNoMedia", "media not present"},
    {0xe00002e6, "kIOReturnUnsupportedMode", "no such mode"},
    {0xe00002e7, "kIOReturnUnderrun", "data underrun"},
    {0xe00002e8, "kIOReturnOverrun", "data overrun"},
    {0xe00002e9, "kIOReturnDeviceError", "the device is not working properly"},
    {0xe00002ea, "kIOReturnNoCompletion", "a completion routine is required"},
    {0xe00002eb, "kIOReturnAborted", "operation aborted"},
    {0xe00002ec, "kIOReturnNoBandwidth", "bus bandwidth would be exceeded"},
    {0xe00002ed, "kIOReturnNotResponding", "device not responding"},
    {0xe00002f0, "kIOReturnNotFound", "data was not found"},
};

static_assert(std::is_sorted(std::begin(known_returns), std::end(known_returns),
                             [](auto const& a, auto const& b) { return a.value < b.value; }));

class io_return_error_category final : public boost::system::error_category
{
public:
    char const* name() const noexcept override { return "IOReturn"; }

    std::string message(int value) const override
    {
        auto const bits = static_cast<std::uint32_t>(value);
        if (bits == 0)
            return "success";
        auto const found = std::lower_bound(std::begin(known_returns), std::end(known_returns), bits,
                                            [](known_return const& k, std::uint32_t v) { return k.value < v; });
        if (found != std::end(known_returns) && found->value == bits)
            return fmt::format("{} ({}, {:#010x})", found->meaning, found->name, bits);
        return fmt::format("IOKit error {:#010x}", bits);
    }
};

} // namespace

boost::system::error_category const& io_return_category() noexcept
{
    static io_return_error_category const category;
    return category;
}

boost::system::error_code make_error_code(int io_return) noexcept
{
    return {io_return, io_return_category()};
}

} // namespace plinth::apple
