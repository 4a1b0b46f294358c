// The reader of `ioreg -a` XML property lists.
#pragma once

#include "sim/detail/registry/registry_description.hpp"
#include "sim/loaders/dump_builder.hpp"

#include <plist/plist.h>

#include <optional>
#include <string>
#include <string_view>

namespace plinth::sim::detail {

// Reads the XML property list that `ioreg -a` writes: each entry is a <dict> of
// its properties plus bookkeeping keys (IORegistryEntryID, IORegistryEntryName,
// IOObjectClass, IORegistryEntryChildren…), which the reader takes out of the
// properties. The top element is one entry dictionary (normally Root), or an
// array of them when ioreg printed several matches. Errors name the element path.
class ioreg_xml_reader
{
public:
    explicit ioreg_xml_reader(std::string plane) : builder_(std::move(plane)) {}

    dump read(std::string_view xml) &&;

private:
    void read_entry(plist_t node, std::optional<entry_id> parent, int depth);
    // The entry <dict>s of an <array>, each placed in errors as list_name[i].
    void read_entries(plist_t list, std::optional<entry_id> parent, int depth, std::string_view list_name);

    dump_builder builder_;
};

} // namespace plinth::sim::detail
