// plinth-ioreg: the I/O Registry as ioreg shows it, read through plinth::apple.
#include "tools/plinth-ioreg/command_line/options.hpp"
#include "tools/plinth-ioreg/command_line/run_command.hpp"
#include "tools/plinth-ioreg/hid/hid_command.hpp"
#include "tools/plinth-ioreg/watch/watch_command.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

namespace {

int fail(char const* message)
{
    std::fprintf(stderr, "plinth-ioreg: %s\n", message);
    return 1;
}

// A full disk or a closed pipe shows in the stream's error flag: a write into the
// buffer succeeds, and the flush that fails may be an earlier, implicit one.
int write_output(std::string const& output)
{
    errno = 0;
    std::fwrite(output.data(), 1, output.size(), stdout);
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return 0;
    auto const reason = errno != 0 ? std::string(": ") + std::strerror(errno) : std::string();
    return fail(("cannot write the output" + reason).c_str());
}

} // namespace

int main(int argc, char** argv)
{
    auto const parsed = plinth::ioreg_tool::parse_command_line(argc, argv);
    if (parsed.exit_status)
        return *parsed.exit_status;
    try {
        using plinth::ioreg_tool::command;
        switch (parsed.value.what) {
        case command::watch:
            return plinth::ioreg_tool::run_watch(parsed.value, stdout);
        case command::hid_read:
            return plinth::ioreg_tool::run_hid_read(parsed.value, stdout);
        case command::hid_write:
            return plinth::ioreg_tool::run_hid_write(parsed.value);
        default:
            break;
        }
        return write_output(plinth::ioreg_tool::run_command(parsed.value));
    }
    catch (std::exception const& e) {
        return fail(e.what());
    }
}
