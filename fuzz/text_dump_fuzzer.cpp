// Feeds bytes to the loader of the text that `ioreg -l` prints, merges what it read
// into the simulated registry and reads that back as plinth-ioreg does. Bad input
// must give a dump_error; any other exception, a crash or a leak is a finding.
#include "fuzz/support/registry_checks.hpp"
#include "sim/control/loaders.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    return plinth::fuzzing::load_and_read_back(
        bytes, size, [](std::string_view text) { return plinth::sim::read_ioreg_text(text); });
}
