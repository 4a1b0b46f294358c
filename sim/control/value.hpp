// The simulation's names for a registry property value: plinth::property's model, which the library reads too.
#pragma once

#include "property/value.hpp"

namespace plinth::sim {

// A property value as the registry holds it. Reading a property makes new CF objects
// from it every time, as IOKit unserialises a fresh copy for every caller, so the
// registry itself owns no CF objects. Numbers of 32 bits or less come back to user
// space as SInt32 CFNumbers, wider ones as SInt64.
using property::array;
using property::data;
using property::dictionary;
using property::make_number;
using property::number;
using property::set;
using property::value;

} // namespace plinth::sim
