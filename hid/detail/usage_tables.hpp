// The tables of HID usage page names and usage names, each sorted by ID for binary search.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace plinth::apple::detail {

struct usage_name
{
    std::uint16_t id;
    std::string_view name;
};

// How a page names the usages its list leaves out. Button, Ordinal and Unicode
// number their usages rather than list them.
enum class usage_numbering : std::uint8_t
{
    none,    // a usage the list leaves out has no name
    button,  // "Button 3"
    ordinal, // "Instance 2"
    unicode, // "U+00E9": the usage ID is a UCS-2 code point
};

struct usage_page_names
{
    std::uint16_t page;
    std::string_view name;
    std::span<usage_name const> usages; // sorted by id, no id twice
    usage_numbering numbering = usage_numbering::none;
};

// Every page the tables name, sorted by page, no page twice.
std::span<usage_page_names const> usage_pages() noexcept;

} // namespace plinth::apple::detail
