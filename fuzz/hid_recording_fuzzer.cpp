// Reads arbitrary text as a HID recording. A file that reads must write back as text that
// reads to the same recording; a file that is refused must be refused with hid_errc::bad_recording
// at a line the text has.
#include "hid/recording.hpp"
#include "hid/recording_error.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    std::string_view const text(reinterpret_cast<char const*>(data), size);
    plinth::apple::hid_recording recording;
    try
    {
        recording = plinth::apple::hid_recording::parse(text);
    }
    catch (plinth::apple::hid_recording_error const& e)
    {
        require(e.code() == plinth::apple::hid_errc::bad_recording);
        auto const lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
        require(e.line() >= 1 && e.line() <= lines);
        return 0;
    }
    require(plinth::apple::hid_recording::parse(recording.format()) == recording);
    return 0;
}
