// The class table: superclasses and conformance.
#include "sim/detail/registry/class_table.hpp"

#include "sim/detail/registry/builtin_classes.hpp"

#include <algorithm>
#include <array>

namespace plinth::sim::detail {

namespace {

constexpr std::string_view root_class = "OSObject";

// The kernel's own base classes and the class of user iterators, which no dump
// shows because ioreg prints only registry entries.
constexpr std::array<class_link, 5> kernel_base_links{{
    {"IOService", "IORegistryEntry"},
    {"IORegistryEntry", "OSObject"},
    {"IOUserIterator", "OSIterator"},
    {"OSIterator", "OSObject"},
    {"IOUserNotification", "IOUserIterator"},
}};

// Chains are short (under 20 classes); the bound only stops a loop that a
// contradictory dump could create.
constexpr int max_chain_length = 256;

std::optional<std::string_view> builtin_superclass(std::string_view class_name)
{
    auto const links = builtin_class_links();
    auto const found = std::ranges::lower_bound(links, class_name, {}, &class_link::name);
    if (found != links.end() && found->name == class_name)
        return found->superclass.empty() ? std::nullopt : std::optional{found->superclass};
    for (auto const& link : kernel_base_links)
        if (link.name == class_name)
            return link.superclass;
    return std::nullopt;
}

} // namespace

class_table::class_table() = default;

void class_table::add(std::string const& class_name, std::string const& superclass)
{
    if (class_name.empty() || class_name == superclass)
        return;
    added_.insert_or_assign(class_name, superclass);
}

std::optional<std::string_view> class_table::superclass_of(std::string_view class_name) const
{
    if (class_name == root_class)
        return std::nullopt;
    if (auto const found = added_.find(class_name); found != added_.end())
        return found->second.empty() ? std::nullopt : std::optional<std::string_view>{found->second};
    return builtin_superclass(class_name);
}

bool class_table::conforms(std::string_view class_name, std::string_view wanted, std::string_view fallback_base) const
{
    std::string_view current = class_name;
    bool fell_back = false;
    for (int step = 0; step < max_chain_length; ++step)
    {
        if (current == wanted)
            return true;
        if (auto const super = superclass_of(current))
        {
            current = *super;
            continue;
        }
        if (current == root_class || fell_back || fallback_base.empty() || current == fallback_base)
            return false;
        current = fallback_base;
        fell_back = true;
    }
    return false;
}

} // namespace plinth::sim::detail
