// An entry's name and location read from the last component of its registry path, where that tells them apart for sure.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace plinth::ioreg_tool {

// An entry's name and location in a plane, as the last component of its path there
// shows them.
struct name_and_location
{
    std::string name;
    std::optional<std::string> location;
};

// Reads the name and location from the last component of a registry path. IOKit
// writes each component as the name in the plane, then "@" and the location when
// the entry has one, so a component with no '@' is a name alone and one with a
// single '@' is "name@location". Gives nothing where the path cannot tell them
// apart for sure, and the caller must ask IOKit for both:
// - a component with more than one '@' (a name or a location with '@' in it);
// - an empty one: the path of the plane's top entry ("IOService:/") shows no name;
// - a name or a location longer than IOKit's io_name_t holds (127 bytes), which
//   the name and location queries would cut.
// What a path cannot show at all: a name with '@' in it and no location reads as
// "name@location" here (IOKit's own IORegistryEntryFromPath splits it the same
// way), and a name with '/' in it would break the path into more components. No
// registry we have seen has either.
std::optional<name_and_location> last_path_component(std::string_view path);

} // namespace plinth::ioreg_tool
