// The text the kernel records as a user client's creator: "pid N, name".
#pragma once

#include <string>
#include <string_view>

namespace plinth::sim::detail {

// "pid 349, diagnosticd": the process ID and its command name, cut to the 16
// characters the kernel keeps of it (MAXCOMLEN).
std::string user_client_creator(int pid, std::string_view process_name);

// The creator text of this process, which is what opens devices through
// IOHIDDeviceOpen.
std::string this_process_creator();

} // namespace plinth::sim::detail
