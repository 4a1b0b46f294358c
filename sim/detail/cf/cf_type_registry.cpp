// The table of CF type IDs and their names.
#include "sim/detail/cf/cf_type_registry.hpp"

#include <map>
#include <mutex>

namespace plinth::sim::detail {
namespace {

// Types registered at run time start well above the built-in IDs.
constexpr CFTypeID first_registered_type_id = 64;

struct type_table
{
    std::mutex mutex;
    std::map<CFTypeID, std::string> names{
        {cf_string_type_id, "CFString"}, {cf_set_type_id, "CFSet"},   {cf_dictionary_type_id, "CFDictionary"},
        {cf_array_type_id, "CFArray"},   {cf_data_type_id, "CFData"}, {cf_boolean_type_id, "CFBoolean"},
        {cf_number_type_id, "CFNumber"},
    };
    CFTypeID next = first_registered_type_id;
};

type_table& table()
{
    // Never destroyed, so that CF objects released during static destruction
    // still find their type.
    static auto* const instance = new type_table;
    return *instance;
}

} // namespace

CFTypeID cf_type_registry::id_for(std::string const& class_name)
{
    auto& t = table();
    std::lock_guard lock(t.mutex);
    for (auto const& [id, name] : t.names)
        if (name == class_name)
            return id;
    CFTypeID const id = t.next++;
    t.names.emplace(id, class_name);
    return id;
}

std::string cf_type_registry::name_of(CFTypeID id)
{
    auto& t = table();
    std::lock_guard lock(t.mutex);
    auto const found = t.names.find(id);
    return found == t.names.end() ? std::string() : found->second;
}

} // namespace plinth::sim::detail
