// plinth-ioreg: the I/O Registry as ioreg shows it, read through plinth::apple.
#include "tools/plinth-ioreg/command_line/command.hpp"
#include "tools/plinth-ioreg/command_line/options.hpp"

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    auto const parsed = plinth::ioreg_tool::parse_command_line(argc, argv);
    if (parsed.exit_status)
        return *parsed.exit_status;
    try
    {
        return parsed.value.command_to_run->run(parsed.value, stdout);
    }
    catch (std::exception const& e)
    {
        std::fprintf(stderr, "plinth-ioreg: %s\n", e.what());
        return 1;
    }
}
