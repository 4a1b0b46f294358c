// Feeds bytes to the loader of the XML property list that `ioreg -a` writes, merges what it read
// into the simulated registry and reads that back as plinth-ioreg does. Bad input
// must give a dump_error; any other exception, a crash or a leak is a finding.
#include "fuzz/support/registry_checks.hpp"
#include "sim/control/loaders.hpp"
#include "sim/control/registry.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size)
{
    std::string_view const text(reinterpret_cast<char const*>(bytes), size);
    plinth::sim::reset_registry();
    try {
        auto const loaded = plinth::sim::read_ioreg_xml(text);
        plinth::sim::merge(loaded);
        plinth::fuzzing::read_whole_registry(plinth::fuzzing::known_plane(loaded.plane));
    }
    catch (plinth::sim::dump_error const&) {
    }
    plinth::sim::reset_registry();
    plinth::fuzzing::require_nothing_left();
    return 0;
}
