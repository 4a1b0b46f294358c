// The kernel's Input Monitoring tag: which HID devices ask the user before a process may read them.
#pragma once

namespace plinth::sim::detail {

class registry_entry;
class registry_model;

// The property the HID family publishes on a device whose reports the user must
// let a process read (Input Monitoring).
inline constexpr char const* requires_tcc_authorization_key = "RequiresTCCAuthorization";

// Tags `entry` as the HID family does when the device starts: an IOHIDDevice
// whose usages include a keyboard, a mouse or a touch pad. An entry that already
// carries the property (a dump of a real machine) keeps what it says. Call under
// the registry's exclusive lock, with the entry linked.
void tag_for_input_monitoring(registry_entry& entry, registry_model const& model);

} // namespace plinth::sim::detail
