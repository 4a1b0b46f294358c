// plane: the registry planes, their IOKit names, and the plane a name stands for.
#pragma once

namespace plinth {

// The registry planes, by their index into the plane-name table.
enum class plane : int
{
    service = 0,     // "IOService"
    power = 1,       // "IOPower"
    device_tree = 2, // "IODeviceTree"
    audio = 3,       // "IOAudio"
    firewire = 4,    // "IOFireWire"
    usb = 5,         // "IOUSB"
};

} // namespace plinth

namespace plinth::apple {

// The plane's IOKit name; the string lives for the whole program. Terminates the
// process for a value outside the enumeration.
char const* to_string(plinth::plane p) noexcept;

// The plane whose IOKit name is exactly `name` (case-sensitive, no trimming).
// Throws boost::system::system_error with plinth::errc::unknown_plane and `name`
// as its text when there is none.
plinth::plane make_plane(char const* name);

} // namespace plinth::apple
