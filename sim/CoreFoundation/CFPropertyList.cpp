// CFPropertyList's C entry points: a property list written as XML, as ioreg -a prints one.
#include <CoreFoundation/CFPropertyList.h>

#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/registry/property_from_cf.hpp"

#include <plist/plist.h>

#include <algorithm>
#include <memory>
#include <string>
#include <variant>

namespace {

using plinth::property::value;

struct plist_deleter
{
    void operator()(plist_t node) const noexcept { plist_free(node); }
};
using owned_plist = std::unique_ptr<void, plist_deleter>;

// The value as a plist node. CoreFoundation writes a dictionary's keys in sorted
// order; a set, which no property list holds, is written as an array.
owned_plist node_of(value const& v)
{
    return std::visit(
        [](auto const& content) -> owned_plist {
            using type = std::decay_t<decltype(content)>;
            if constexpr (std::is_same_v<type, bool>)
                return owned_plist(plist_new_bool(content ? 1 : 0));
            else if constexpr (std::is_same_v<type, plinth::property::number>)
                return owned_plist(plist_new_uint(content.as_unsigned()));
            else if constexpr (std::is_same_v<type, double>)
                return owned_plist(plist_new_real(content));
            else if constexpr (std::is_same_v<type, std::string>)
                return owned_plist(plist_new_string(content.c_str()));
            else if constexpr (std::is_same_v<type, plinth::property::data>)
                return owned_plist(plist_new_data(reinterpret_cast<char const*>(content.data()),
                                                  static_cast<uint64_t>(content.size())));
            else if constexpr (std::is_same_v<type, plinth::property::dictionary>)
            {
                std::vector<std::pair<std::string, value> const*> sorted;
                for (auto const& item : content)
                    sorted.push_back(&item);
                std::stable_sort(sorted.begin(), sorted.end(),
                                 [](auto const* a, auto const* b) { return a->first < b->first; });
                owned_plist dict(plist_new_dict());
                for (auto const* item : sorted)
                    plist_dict_set_item(dict.get(), item->first.c_str(), node_of(item->second).release());
                return dict;
            }
            else
            {
                owned_plist array(plist_new_array());
                std::vector<value> const* items = nullptr;
                if constexpr (std::is_same_v<type, plinth::property::set>)
                    items = &content.items;
                else
                    items = &content;
                for (auto const& item : *items)
                    plist_array_append_item(array.get(), node_of(item).release());
                return array;
            }
        },
        v.content);
}

} // namespace

extern "C" {

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef propertyList, CFPropertyListFormat format,
                                   CFOptionFlags, CFErrorRef* error)
{
    if (error != nullptr)
        *error = nullptr;
    if (propertyList == nullptr)
    {
        plinth::sim::detail::report_misuse("CFPropertyListCreateData: NULL property list");
        return nullptr;
    }
    if (format != kCFPropertyListXMLFormat_v1_0)
        return nullptr;
    auto const read = plinth::sim::detail::value_from_cf(propertyList);
    if (!read)
        return nullptr;
    auto const root = node_of(*read);
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    if (xml == nullptr)
        return nullptr;
    auto const* data = CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>(xml), static_cast<CFIndex>(length));
    plist_to_xml_free(xml);
    return data;
}

} // extern "C"
