// The table of CF type IDs and their names, with the built-in types at macOS's IDs.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <string>

namespace plinth::sim::detail {

// The built-in types have fixed IDs (those of macOS 10.8 and later), so that their
// constants need no start-up code. Other types get IDs from the registry below.
inline constexpr CFTypeID cf_string_type_id = 7;
inline constexpr CFTypeID cf_set_type_id = 17;
inline constexpr CFTypeID cf_dictionary_type_id = 18;
inline constexpr CFTypeID cf_array_type_id = 19;
inline constexpr CFTypeID cf_data_type_id = 20;
inline constexpr CFTypeID cf_boolean_type_id = 21;
inline constexpr CFTypeID cf_number_type_id = 22;

// The CF types of the process by ID and name. Later parts of the simulation (run
// loops, their sources, HID devices) register their types here once, typically
// from a function-local static in the type's `type_id()`.
class cf_type_registry
{
public:
    // The ID of the type with this class name, registered on first use. Thread-safe.
    static CFTypeID id_for(std::string const& class_name);

    // The class name of a type ID ("CFString"), or empty for an unknown ID.
    static std::string name_of(CFTypeID id);
};

} // namespace plinth::sim::detail
