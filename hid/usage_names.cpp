// Names of HID usage pages and usages: binary search over the tables, numbered names, and labels for the rest.
#include "hid/usage_names.hpp"

#include "hid/detail/usage_tables.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace plinth::apple {
namespace {

using detail::usage_numbering;
using detail::usage_page_names;

constexpr std::uint16_t first_vendor_page = 0xFF00;

usage_page_names const* find_page(std::uint16_t page) noexcept
{
    auto const pages = detail::usage_pages();
    auto const found =
        std::lower_bound(pages.begin(), pages.end(), page,
                         [](usage_page_names const& p, std::uint16_t wanted) { return p.page < wanted; });
    return found != pages.end() && found->page == page ? &*found : nullptr;
}

std::optional<std::string_view> listed_name(usage_page_names const& page, std::uint16_t id) noexcept
{
    auto const found =
        std::lower_bound(page.usages.begin(), page.usages.end(), id,
                         [](detail::usage_name const& u, std::uint16_t wanted) { return u.id < wanted; });
    if (found != page.usages.end() && found->id == id)
        return found->name;
    return std::nullopt;
}

} // namespace

std::optional<std::string_view> hid_usage_page_name(std::uint16_t page) noexcept
{
    if (auto const* found = find_page(page))
        return found->name;
    return std::nullopt;
}

std::string hid_usage_page_label(std::uint16_t page)
{
    if (auto const name = hid_usage_page_name(page))
        return std::string(*name);
    if (page >= first_vendor_page)
        return fmt::format("Vendor-defined 0x{:04X}", page);
    return fmt::format("Usage page 0x{:04X}", page);
}

std::optional<std::string> hid_usage_name(hid_usage usage)
{
    auto const* page = find_page(usage.page);
    if (page == nullptr)
        return std::nullopt;
    if (auto const name = listed_name(*page, usage.id))
        return std::string(*name);
    switch (page->numbering)
    {
    case usage_numbering::none: return std::nullopt;
    case usage_numbering::button: return fmt::format("Button {}", usage.id);
    // Instance 0 is not an instance: the page leaves 0 undefined.
    case usage_numbering::ordinal:
        return usage.id == 0 ? std::nullopt : std::optional(fmt::format("Instance {}", usage.id));
    case usage_numbering::unicode: return fmt::format("U+{:04X}", usage.id);
    }
    return std::nullopt;
}

std::string hid_usage_label(hid_usage usage)
{
    if (auto name = hid_usage_name(usage))
        return std::move(*name);
    if (auto const page = hid_usage_page_name(usage.page))
        return fmt::format("{} 0x{:04X}", *page, usage.id);
    // A page without a name has no usage names either: "page:usage", both in hex.
    return fmt::format("{}:0x{:04X}", hid_usage_page_label(usage.page), usage.id);
}

} // namespace plinth::apple
