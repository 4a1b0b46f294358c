// The reader of `ioreg -a` XML property lists.
#include "sim/loaders/ioreg_xml_reader.hpp"

#include "sim/loaders/dump_error.hpp"
#include "sim/loaders/element_error.hpp"
#include "sim/loaders/plist_document.hpp"
#include "sim/loaders/plist_value.hpp"

#include <cstdint>

namespace plinth::sim::detail {

namespace {

// Registry trees are a few dozen levels deep; the limit keeps hostile input from
// exhausting the stack.
constexpr int max_entry_depth = 512;

std::string string_of(plist_t node, std::string_view key)
{
    if (plist_get_node_type(node) != PLIST_STRING)
        throw element_error(std::string(key) + " is " + element_name(node) + ", not a <string>");
    std::uint64_t length = 0;
    char const* text = plist_get_string_ptr(node, &length);
    return std::string(text, static_cast<std::size_t>(length));
}

std::uint64_t integer_of(plist_t node, std::string_view key)
{
    if (plist_get_node_type(node) != PLIST_UINT)
        throw element_error(std::string(key) + " is " + element_name(node) + ", not an <integer>");
    std::uint64_t v = 0;
    plist_get_uint_val(node, &v);
    return v;
}

std::vector<std::string> class_names_of(plist_t node, std::string_view key)
{
    if (plist_get_node_type(node) != PLIST_ARRAY)
        throw element_error(std::string(key) + " is " + element_name(node) + ", not an <array>");
    std::vector<std::string> names;
    for (std::uint32_t i = 0, size = plist_array_get_size(node); i < size; ++i)
        names.push_back(string_of(plist_array_get_item(node, i), std::string(key) + "[" + std::to_string(i) + "]"));
    return names;
}

// How the entry is named in an error path, read before anything else so that
// every fault inside the entry can be placed.
std::string label_of(plist_t entry)
{
    plist_t const name = plist_dict_get_item(entry, "IORegistryEntryName");
    if (name == nullptr || plist_get_node_type(name) != PLIST_STRING)
        return "(entry without a name)";
    return "\"" + string_of(name, "IORegistryEntryName") + "\"";
}

} // namespace

dump ioreg_xml_reader::read(std::string_view xml) &&
{
    if (xml.find_first_not_of(" \t\r\n") == std::string_view::npos)
        throw dump_error("the XML property list is empty");
    plist_document const document = plist_document::parse_xml(xml);
    plist_t const root = document.root();
    try
    {
        switch (plist_get_node_type(root))
        {
        case PLIST_DICT: read_entry(root, std::nullopt, 0); break;
        case PLIST_ARRAY:
            // `ioreg -a -r` writes one dictionary per match.
            read_entries(root, std::nullopt, 0, "");
            break;
        default:
            throw element_error("the property list holds " + element_name(root) +
                                ", not a registry entry <dict> or an <array> of them");
        }
    }
    catch (element_error const& e)
    {
        throw dump_error(e.describe());
    }
    if (builder_.entry_count() == 0)
        throw dump_error("the property list holds no registry entry");
    return std::move(builder_).finish();
}

void ioreg_xml_reader::read_entry(plist_t node, std::optional<entry_id> parent, int depth)
{
    if (plist_get_node_type(node) != PLIST_DICT)
        throw element_error(element_name(node) + " where a registry entry <dict> must be");
    try
    {
        if (depth > max_entry_depth)
            throw element_error("entries nested more than " + std::to_string(max_entry_depth) + " levels deep");
        dump_entry entry;
        bool has_id = false;
        bool has_name = false;
        plist_t children = nullptr;
        for_each_dict_item(node, [&](std::string_view key, plist_t item) {
            if (key == "IORegistryEntryChildren")
                children = item;
            else if (key == "IORegistryEntryID")
            {
                entry.id = integer_of(item, key);
                has_id = true;
            }
            else if (key == "IORegistryEntryName")
            {
                entry.name = string_of(item, key);
                has_name = true;
            }
            else if (key == "IORegistryEntryLocation")
                entry.location = string_of(item, key);
            else if (key == "IOObjectClass")
                entry.class_name = string_of(item, key);
            else if (key == "IOObjectInheritance")
                entry.class_chain = class_names_of(item, key);
            else if (key == "IOObjectRetainCount" || key == "IOServiceState" || key == "IOServiceBusyState" ||
                     key == "IOServiceBusyTime")
                integer_of(item, key); // the state of the machine that was dumped, not of the simulated one
            else
                entry.properties.emplace_back(
                    std::string(key),
                    within_step([&] { return "\"" + std::string(key) + "\""; }, [&] { return plist_value(item); }));
        });
        if (!has_id)
            throw element_error("the entry has no IORegistryEntryID");
        if (entry.class_name.empty())
            throw element_error("the entry has no IOObjectClass");
        if (!has_name)
            entry.name = entry.class_name; // an entry that was never named goes by its class, as in IOKit
        if (!entry.class_chain.empty() && entry.class_chain.front() != entry.class_name)
            entry.class_chain.insert(entry.class_chain.begin(), entry.class_name);

        entry_id const id = entry.id;
        try
        {
            builder_.add_entry(std::move(entry));
            if (parent)
                builder_.add_link(*parent, id);
            else
                builder_.add_top(id);
        }
        catch (dump_builder::conflict const& e)
        {
            throw element_error(e.what());
        }
        if (children != nullptr)
        {
            if (plist_get_node_type(children) != PLIST_ARRAY)
                throw element_error("IORegistryEntryChildren is " + element_name(children) + ", not an <array>");
            read_entries(children, id, depth + 1, "IORegistryEntryChildren");
        }
    }
    catch (element_error& e)
    {
        e.add_outer_step(label_of(node));
        throw;
    }
}

void ioreg_xml_reader::read_entries(plist_t list, std::optional<entry_id> parent, int depth, std::string_view list_name)
{
    for (std::uint32_t i = 0, size = plist_array_get_size(list); i < size; ++i)
        within_step([&] { return std::string(list_name) + "[" + std::to_string(i) + "]"; },
                    [&] { read_entry(plist_array_get_item(list, i), parent, depth); });
}

} // namespace plinth::sim::detail
