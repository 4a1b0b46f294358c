// The class table: which class derives from which, for conformance.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace plinth::sim::detail {

// Which class derives from which, for IOObjectConformsTo and
// IOObjectCopySuperclassForClass: the built-in table, plus classes that programs
// add and the chains that dumps carry. Links added later win over built-in ones.
class class_table
{
public:
    class_table();

    void add(std::string const& class_name, std::string const& superclass);

    // The direct superclass; empty for a root class (OSObject) or an unknown class.
    std::optional<std::string_view> superclass_of(std::string_view class_name) const;

    // Whether `class_name` is `wanted` or derives from it. A class whose chain ends
    // short of OSObject (one the table does not know) is taken to derive from
    // `fallback_base`, as the kernel's classes all derive from IORegistryEntry.
    bool conforms(std::string_view class_name, std::string_view wanted, std::string_view fallback_base) const;

private:
    struct string_hash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
    };

    std::unordered_map<std::string, std::string, string_hash, std::equal_to<>> added_;
};

} // namespace plinth::sim::detail
