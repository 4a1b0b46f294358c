// plinth-ioreg: the I/O Registry as ioreg shows it, read through plinth::apple.
#include "tools/plinth-ioreg/options.hpp"
#include "tools/plinth-ioreg/run_command.hpp"
#include "tools/plinth-ioreg/watch_command.hpp"

#include <cstdio>
#include <exception>
#include <string>

namespace {

int fail(char const* message)
{
    std::fprintf(stderr, "plinth-ioreg: %s\n", message);
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    auto const parsed = plinth::ioreg_tool::parse_command_line(argc, argv);
    if (parsed.exit_status)
        return *parsed.exit_status;
    try {
        if (parsed.value.what == plinth::ioreg_tool::command::watch)
            return plinth::ioreg_tool::run_watch(parsed.value, stdout);
        auto const output = plinth::ioreg_tool::run_command(parsed.value);
        std::fwrite(output.data(), 1, output.size(), stdout);
        return std::fflush(stdout) == 0 ? 0 : fail("cannot write the output");
    }
    catch (std::exception const& e) {
        return fail(e.what());
    }
}
