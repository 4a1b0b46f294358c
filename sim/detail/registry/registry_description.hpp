// How entries are described to the registry model: one new entry (entry_spec), and what a dump says about one plane.
#pragma once

#include "property/value.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// These are the model's own vocabulary; the control interface re-exports them
// (sim/control/dump.hpp, registry.hpp) as plinth::sim::entry_id, dump, and so on.
namespace plinth::sim::detail {

using entry_id = std::uint64_t;

// The entry that IORegistryGetRootEntry returns: "Root", class IORegistryEntry.
inline constexpr entry_id root_entry_id = 0x100000100;

struct entry_spec
{
    entry_spec() = default;
    // The usual way to describe an entry: add_entry({"IOUSBHostDevice", "Mouse", "14100000"}, parent).
    entry_spec(std::string class_name_, std::string name_ = {}, std::optional<std::string> location_ = {},
               property::dictionary properties_ = {}, std::optional<entry_id> id_ = {})
        : class_name(std::move(class_name_)),
          name(std::move(name_)),
          location(std::move(location_)),
          properties(std::move(properties_)),
          id(id_)
    {
    }

    std::string class_name;
    std::string name; // empty: the class name, as IOKit does
    std::optional<std::string> location;
    property::dictionary properties;
    std::optional<entry_id> id; // empty: the next free registry entry ID
};

// One entry as a registry dump shows it.
struct dump_entry
{
    entry_id id = 0;
    std::string class_name; // the real class, as ioreg prints it
    std::string name;       // the name in the dumped plane
    std::optional<std::string> location;
    property::dictionary properties; // empty when the dump shows none
    std::vector<std::string>
        class_chain; // the class and its superclasses, most-derived first, when the dump shows them
};

// What one dump says about one plane: its entries and their parent links in that
// plane, in the order the dump lists them. An entry printed once under each of its
// parents is one entry with several links.
struct dump
{
    std::string plane = "IOService";
    std::vector<dump_entry> entries;                  // each id once, first appearance first
    std::vector<std::pair<entry_id, entry_id>> links; // (parent, child), in attach order
    std::vector<entry_id> tops;                       // entries printed only with no parent in the dump
};

} // namespace plinth::sim::detail
