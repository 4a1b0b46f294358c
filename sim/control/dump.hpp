#pragma once

#include "sim/control/value.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace plinth::sim {

using entry_id = std::uint64_t;

// One entry as a registry dump shows it.
struct dump_entry
{
    entry_id id = 0;
    std::string class_name;            // the real class, as ioreg prints it
    std::string name;                  // the name in the dumped plane
    std::optional<std::string> location;
    dictionary properties;             // empty when the dump shows none
    std::vector<std::string> class_chain; // the class and its superclasses, most-derived first, when the dump shows them
};

// What one dump says about one plane: its entries and their parent links in that
// plane, in the order the dump lists them. An entry printed once under each of its
// parents is one entry with several links.
struct dump
{
    std::string plane = "IOService";
    std::vector<dump_entry> entries;                        // each id once, first appearance first
    std::vector<std::pair<entry_id, entry_id>> links;       // (parent, child), in attach order
    std::vector<entry_id> tops;                             // entries printed only with no parent in the dump
};

} // namespace plinth::sim
