// find_hid_device: looking an entry up by ID in the registry and checking that it is a HID device.
#include "tools/plinth-ioreg/hid/hid_device_lookup.hpp"

#include "device/apple/tree.hpp"
#include "io_kit/mach_port.hpp"
#include "tools/plinth-ioreg/command_line/tool_error.hpp"
#include "tools/plinth-ioreg/registry/entry_lookup.hpp"
#include "tools/plinth-ioreg/registry/entry_summary.hpp"
#include "tools/plinth-ioreg/registry/walked_entry.hpp"

#include <fmt/format.h>

namespace plinth::ioreg_tool {

apple::device find_hid_device(std::uint64_t id)
{
    apple::tree const registry(apple::io_kit::mach_port::master_port_default());
    auto const entry = find_by_id(registry, id);
    if (!entry.device().conforms_to_class("IOHIDDevice"))
        throw tool_error(fmt::format("{} is not a HID device", format_entry_id(id)));
    return entry.device();
}

} // namespace plinth::ioreg_tool
