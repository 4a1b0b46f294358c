// The text the kernel records as a user client's creator: "pid N, name".
#include "sim/detail/hid/user_client_creator.hpp"

#include <unistd.h>

#include <fstream>

namespace plinth::sim::detail {
namespace {

// The kernel keeps this many characters of a process's command name (MAXCOMLEN).
constexpr std::size_t command_name_length = 16;

// The process's command name as the system keeps it: on Linux the kernel's own
// copy (15 characters at most), which a Mac would hold as its p_comm.
std::string this_process_name()
{
    std::ifstream comm("/proc/self/comm");
    std::string name;
    std::getline(comm, name);
    return name;
}

} // namespace

std::string user_client_creator(int pid, std::string_view process_name)
{
    // The creator is "pid %d, " and the command name, as xnu writes it when a
    // process opens a user client.
    return "pid " + std::to_string(pid) + ", " + std::string(process_name.substr(0, command_name_length));
}

std::string this_process_creator()
{
    // The name is read once; the ID each time, as a forked child is a process of its own.
    static std::string const name = this_process_name();
    return user_client_creator(static_cast<int>(getpid()), name);
}

} // namespace plinth::sim::detail
