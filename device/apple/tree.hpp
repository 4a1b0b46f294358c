// tree: the entry point to the I/O Registry: the root, an entry by path, and entries by registry ID.
#pragma once

#include "device/apple/device.hpp"
#include "io_kit/io_iterator.hpp"
#include "io_kit/mach_port.hpp"

#include <string>

namespace plinth::apple {

// The caller's entry point to the I/O Registry: it holds the IOKit main port and
// finds entries from the root, by registry path or by registry entry ID.
// Move-only, as the port is. Queries are const and may run on several threads at
// once; moving the tree must not race with them.
class tree
{
public:
    explicit tree(io_kit::mach_port port) noexcept;

    // The held port: the next lower layer, as Boost.Asio's layered objects name it.
    io_kit::mach_port& next_layer() noexcept;
    io_kit::mach_port const& next_layer() const noexcept;

    device get_root_node() const;

    // The entry that `path` names in IOKit's syntax ("IOService:/a/b@1"), passed to
    // IOKit unchanged; the empty device when it names none, as a path with a NUL
    // byte in it never does.
    device get_by_path(std::string const& path) const;

    // The services whose registry entry ID is `id`: at most one, so callers take
    // the first next(); an iterator that is empty at once when no entry has it.
    io_kit::io_iterator get_by_id(unsigned long long const& id) const;

private:
    io_kit::mach_port port_;
};

} // namespace plinth::apple
