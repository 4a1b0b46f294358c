// The control interface to the simulated registry: build it, change it while it runs, merge dumps, load the bundled one.
#pragma once

#include "sim/control/dump.hpp"
#include "sim/control/value.hpp"
#include "sim/detail/registry/registry_description.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

// The control interface of the simulated I/O Kit: what a program or a test uses to
// build the simulated machine's registry, change it while it runs, and load dumps.
// All functions are thread-safe; they act on the one simulated machine of the process.
namespace plinth::sim {

// The root entry's ID, and the description of one entry that add_entry takes
// (class, name, location, properties, and an ID or the next free one).
using detail::root_entry_id;
using detail::entry_spec;

// Empties the registry to the root entry alone. Handles that callers still hold
// stay valid but denote detached entries.
void reset_registry();

// Adds an entry attached under `parent` in `plane`; returns its registry entry ID.
// Throws std::invalid_argument for an unknown parent or a duplicate ID.
entry_id add_entry(entry_spec const& new_entry, entry_id parent, std::string const& plane = "IOService");

// Links an existing entry under another parent in a plane (an entry may have
// several parents in one plane, and parents in several planes).
void attach(entry_id child, entry_id parent, std::string const& plane,
            std::optional<std::string> const& location_in_plane = std::nullopt);

void set_property(entry_id id, std::string const& key, value v);
void remove_property(entry_id id, std::string const& key);

// Takes the entry out of the registry, with each descendant that no other parent
// holds in the plane that links it, as a terminated service leaves it: a service
// whose every provider goes goes too, whatever holds it in other planes. Entries
// that stay lose their links to those that go. Throws std::invalid_argument for an
// unknown ID or the root.
void remove_entry(entry_id id);

// Adds `class_name` with its superclass to the class table that IOObjectConformsTo uses.
void add_class(std::string const& class_name, std::string const& superclass);

// Merges one dump into the registry: entries are matched by registry entry ID
// (properties are added to those already known), and the dump's links are added
// in its plane. Entries printed with no parent hang under the root entry.
void merge(dump const& d);

// Empties the registry and loads the bundled registry of a realistic Mac.
void load_bundled_registry();

// The bundled registry as load_bundled_registry() merges it: one dump per plane.
// A program that plays a device being unplugged and plugged back in merges the
// device's part of these again.
std::vector<dump> bundled_registry_dumps();

bool contains(entry_id id);
std::size_t entry_count();

} // namespace plinth::sim
