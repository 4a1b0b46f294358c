// The texts of Mach error values, by error system and subsystem, in the words of a Mac's system library.
#include "sim/detail/kernel/mach_error_text.hpp"

#include <algorithm>
#include <iterator>
#include <span>

namespace plinth::sim::detail {
namespace {

struct subsystem_texts
{
    unsigned system;
    unsigned subsystem;
    char const* name;
    // Indexed by code; nullptr for codes with no text.
    std::span<char const* const> by_code;
};

// kern_return_t: codes 0 to 49 are numbered densely.
constexpr char const* kern_texts[] = {
    "(os/kern) successful",
    "(os/kern) invalid address",
    "(os/kern) protection failure",
    "(os/kern) no space available",
    "(os/kern) invalid argument",
    "(os/kern) failure",
    "(os/kern) resource shortage",
    "(os/kern) not receiver",
    "(os/kern) no access",
    "(os/kern) memory failure",
    "(os/kern) memory error",
    "(os/kern) already in set",
    "(os/kern) not in set",
    "(os/kern) name exists",
    "(os/kern) aborted",
    "(os/kern) invalid name",
    "(os/kern) invalid task",
    "(os/kern) invalid right",
    "(os/kern) invalid value",
    "(os/kern) urefs overflow",
    "(os/kern) invalid capability",
    "(os/kern) right exists",
    "(os/kern) invalid host",
    "(os/kern) memory present",
    "(os/kern) memory data moved",
    "(os/kern) memory restart copy",
    "(os/kern) invalid processor set",
    "(os/kern) policy limit",
    "(os/kern) invalid policy",
    "(os/kern) invalid object",
    "(os/kern) already waiting",
    "(os/kern) default set",
    "(os/kern) exception protected",
    "(os/kern) invalid ledger",
    "(os/kern) invalid memory control",
    "(os/kern) invalid security",
    "(os/kern) not depressed",
    "(os/kern) object terminated",
    "(os/kern) lock set destroyed",
    "(os/kern) lock unstable",
    "(os/kern) lock owned by another",
    "(os/kern) lock owned by current thread",
    "(os/kern) semaphore destroyed",
    "(os/kern) RPC terminated",
    "(os/kern) terminated",
    "(os/kern) RPC continue",
    "(os/kern) not supported",
    "(os/kern) node down",
    "(os/kern) not waiting",
    "(os/kern) operation timed out",
};

static_assert(std::size(kern_texts) == 50);

// The MACH_SEND_ codes that <mach/message.h> declares (err_mach_ipc, subsystem 0).
constexpr char const* ipc_send_texts[] = {
    nullptr,                               // 0
    nullptr,                               // 1
    "(ipc/send) invalid data",             // MACH_SEND_INVALID_DATA
    "(ipc/send) invalid destination port", // MACH_SEND_INVALID_DEST
    "(ipc/send) timed out",                // MACH_SEND_TIMED_OUT
    nullptr,                               // 5
    nullptr,                               // 6
    "(ipc/send) invalid port right",       // MACH_SEND_INVALID_RIGHT
};

// The MACH_RCV_ codes that <mach/message.h> declares (err_mach_ipc, subsystem 1).
constexpr char const* ipc_rcv_texts[] = {
    nullptr,                  // 0
    nullptr,                  // 1
    "(ipc/rcv) invalid name", // MACH_RCV_INVALID_NAME
    "(ipc/rcv) timed out",    // MACH_RCV_TIMED_OUT
};

// IOKit's common returns (sys_iokit, sub_iokit_common): codes 0x2bc to 0x2f0, and
// kIOReturnInvalid (1) below them. A Mac words them as <IOKit/IOReturn.h> describes
// each value, capitals included.
constexpr unsigned first_iokit_code = 0x2bc;
constexpr char const* iokit_common_texts[] = {
    "(iokit/common) general error",                               // 0x2bc
    "(iokit/common) can't allocate memory",                       // 0x2bd
    "(iokit/common) resource shortage",                           // 0x2be
    "(iokit/common) error during IPC",                            // 0x2bf
    "(iokit/common) no such device",                              // 0x2c0
    "(iokit/common) privilege violation",                         // 0x2c1
    "(iokit/common) invalid argument",                            // 0x2c2
    "(iokit/common) device read locked",                          // 0x2c3
    "(iokit/common) device write locked",                         // 0x2c4
    "(iokit/common) exclusive access and device already open",    // 0x2c5
    "(iokit/common) sent/received messages had different msg_id", // 0x2c6
    "(iokit/common) unsupported function",                        // 0x2c7
    "(iokit/common) misc. VM failure",                            // 0x2c8
    "(iokit/common) internal error",                              // 0x2c9
    "(iokit/common) General I/O error",                           // 0x2ca
    nullptr,                                                      // 0x2cb
    "(iokit/common) can't acquire lock",                          // 0x2cc
    "(iokit/common) device not open",                             // 0x2cd
    "(iokit/common) read not supported",                          // 0x2ce
    "(iokit/common) write not supported",                         // 0x2cf
    "(iokit/common) alignment error",                             // 0x2d0
    "(iokit/common) Media Error",                                 // 0x2d1
    "(iokit/common) device(s) still open",                        // 0x2d2
    "(iokit/common) rld failure",                                 // 0x2d3
    "(iokit/common) DMA failure",                                 // 0x2d4
    "(iokit/common) Device Busy",                                 // 0x2d5
    "(iokit/common) I/O Timeout",                                 // 0x2d6
    "(iokit/common) device offline",                              // 0x2d7
    "(iokit/common) not ready",                                   // 0x2d8
    "(iokit/common) device not attached",                         // 0x2d9
    "(iokit/common) no DMA channels left",                        // 0x2da
    "(iokit/common) no space for data",                           // 0x2db
    nullptr,                                                      // 0x2dc
    "(iokit/common) port already exists",                         // 0x2dd
    "(iokit/common) can't wire down physical memory",             // 0x2de
    "(iokit/common) no interrupt attached",                       // 0x2df
    "(iokit/common) no DMA frames enqueued",                      // 0x2e0
    "(iokit/common) oversized msg received on interrupt port",    // 0x2e1
    "(iokit/common) not permitted",                               // 0x2e2
    "(iokit/common) no power to device",                          // 0x2e3
    "(iokit/common) media not present",                           // 0x2e4
    "(iokit/common) media not formatted",                         // 0x2e5
    "(iokit/common) no such mode",                                // 0x2e6
    "(iokit/common) data underrun",                               // 0x2e7
    "(iokit/common) data overrun",                                // 0x2e8
    "(iokit/common) the device is not working properly",          // 0x2e9
    "(iokit/common) a completion routine is required",            // 0x2ea
    "(iokit/common) operation aborted",                           // 0x2eb
    "(iokit/common) bus bandwidth would be exceeded",             // 0x2ec
    "(iokit/common) device not responding",                       // 0x2ed
    "(iokit/common) isochronous I/O request for distant past",    // 0x2ee
    "(iokit/common) isochronous I/O request for distant future",  // 0x2ef
    "(iokit/common) data was not found",                          // 0x2f0
};
static_assert(std::size(iokit_common_texts) == 0x2f0 - first_iokit_code + 1);
constexpr unsigned iokit_invalid_code = 0x1;
constexpr char const* iokit_invalid_text = "(iokit/common) should never be seen";

constexpr unsigned kern_system = 0x0;
constexpr unsigned mach_ipc_system = 0x4;
constexpr unsigned iokit_system = 0x38;

constexpr subsystem_texts subsystems[] = {
    {kern_system, 0, "(os/kern)", kern_texts},
    {mach_ipc_system, 0, "(ipc/send)", ipc_send_texts},
    {mach_ipc_system, 1, "(ipc/rcv)", ipc_rcv_texts},
    {iokit_system, 0, "(iokit/common)", {}},
};

subsystem_texts const* subsystem_of(mach_error_t value)
{
    auto const system = static_cast<unsigned>(err_get_system(value));
    auto const subsystem = static_cast<unsigned>(err_get_sub(value));
    auto const found = std::find_if(std::begin(subsystems), std::end(subsystems), [&](subsystem_texts const& s) {
        return s.system == system && s.subsystem == subsystem;
    });
    return found == std::end(subsystems) ? nullptr : found;
}

char const* iokit_common_text(unsigned code)
{
    if (code == iokit_invalid_code)
        return iokit_invalid_text;
    if (code < first_iokit_code || code - first_iokit_code >= std::size(iokit_common_texts))
        return nullptr;
    return iokit_common_texts[code - first_iokit_code];
}

} // namespace

char const* mach_error_text(mach_error_t value) noexcept
{
    auto const* subsystem = subsystem_of(value);
    if (subsystem == nullptr)
        return nullptr;
    auto const code = static_cast<unsigned>(err_get_code(value));
    if (subsystem->system == iokit_system)
        return iokit_common_text(code);
    return code < subsystem->by_code.size() ? subsystem->by_code[code] : nullptr;
}

char const* mach_error_subsystem(mach_error_t value) noexcept
{
    auto const* subsystem = subsystem_of(value);
    return subsystem == nullptr ? nullptr : subsystem->name;
}

} // namespace plinth::sim::detail
