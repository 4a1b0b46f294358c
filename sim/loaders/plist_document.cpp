// An XML property list parsed by libplist, its faults named by line.
#include "sim/loaders/plist_document.hpp"

#include "sim/loaders/dump_error.hpp"
#include "sim/loaders/plist_xml_check.hpp"

#include <cstdint>

namespace plinth::sim::detail {

plist_document plist_document::parse_xml(std::string_view xml)
{
    if (xml.size() > UINT32_MAX)
        throw dump_error("the XML property list is larger than the 4 GiB libplist reads");
    // libplist takes a value that is not what its element says without a word,
    // and recurses once per nesting level: both are caught before it runs.
    if (auto const fault = find_unreadable_element(xml))
        throw dump_error(*fault);
    plist_t root = nullptr;
    plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &root);
    if (root == nullptr)
    {
        auto const imbalance = find_tag_imbalance(xml);
        throw dump_error("libplist rejects the XML property list" +
                         (imbalance ? ": " + *imbalance
                                    : std::string(" (its tags pair up: look for a misspelt element or a bad value)")));
    }
    return plist_document(root);
}

std::string element_name(plist_t node)
{
    switch (plist_get_node_type(node))
    {
    case PLIST_BOOLEAN: return plist_bool_val_is_true(node) ? "<true/>" : "<false/>";
    case PLIST_UINT: return "<integer>";
    case PLIST_REAL: return "<real>";
    case PLIST_STRING: return "<string>";
    case PLIST_ARRAY: return "<array>";
    case PLIST_DICT: return "<dict>";
    case PLIST_DATE: return "<date>";
    case PLIST_DATA: return "<data>";
    case PLIST_KEY: return "<key>";
    case PLIST_UID: return "<uid>";
    default: return "an element of unknown type";
    }
}

} // namespace plinth::sim::detail
