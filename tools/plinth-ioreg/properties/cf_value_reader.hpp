// A CF value of any type the registry hands out, converted into the tool's property value model.
#pragma once

#include "io_kit/cf/auto_pointer.hpp"
#include "tools/plinth-ioreg/properties/property_value.hpp"

namespace plinth::ioreg_tool {

// Converts a CF value of any type the registry hands out (boolean, number, string,
// data, dictionary, array, set) into the tool's value model, through the CF
// wrappers. A type the registry never uses shows as a string saying so, as ioreg
// shows objects it cannot serialise as text.
property_value read_cf_value(CF::AutoPointer const& value);

} // namespace plinth::ioreg_tool
