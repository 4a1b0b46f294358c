// CFPropertyList's C entry points: property lists written as XML (as ioreg -a prints one) or binary, and read back.
#include <CoreFoundation/CFPropertyList.h>

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_from_plist.hpp"
#include "sim/detail/cf/cf_property_list_check.hpp"
#include "sim/detail/cf/cf_read_stream.hpp"
#include "sim/detail/cf/cf_write_stream.hpp"
#include "sim/detail/diagnostics/misuse_reports.hpp"
#include "sim/detail/registry/property_from_cf.hpp"

#include <plist/plist.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <memory>
#include <string>
#include <variant>
#include <vector>

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
            // CoreFoundation writes an integer as it reads the CFNumber, signed:
            // a SInt32 -42 (a registry number of 32 bits with the top one set
            // among them) is <integer>-42</integer>, not its unsigned bits. The
            // node's value is the 64-bit pattern, which the writers print signed.
            else if constexpr (std::is_same_v<type, plinth::property::number>)
                return owned_plist(plist_new_uint(static_cast<std::uint64_t>(content.as_signed())));
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

// Whether a string or key of the property list holds U+0000, which no XML
// document can carry: written, it would cut the text short.
bool holds_nul(CFTypeRef object)
{
    auto const type = CFGetTypeID(object);
    if (type == CFStringGetTypeID())
    {
        auto const text = static_cast<CFStringRef>(object);
        if (CFStringGetLength(text) == 0)
            return false;
        std::vector<UniChar> characters(static_cast<std::size_t>(CFStringGetLength(text)));
        CFStringGetCharacters(text, CFRangeMake(0, CFStringGetLength(text)), characters.data());
        return std::ranges::find(characters, UniChar{0}) != characters.end();
    }
    if (type == CFArrayGetTypeID())
    {
        auto const array = static_cast<CFArrayRef>(object);
        for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
            if (holds_nul(CFArrayGetValueAtIndex(array, i)))
                return true;
        return false;
    }
    if (type == CFDictionaryGetTypeID())
    {
        auto const dictionary = static_cast<CFDictionaryRef>(object);
        std::vector<void const*> keys(static_cast<std::size_t>(CFDictionaryGetCount(dictionary)));
        std::vector<void const*> values(keys.size());
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
        return std::ranges::any_of(keys, holds_nul) || std::ranges::any_of(values, holds_nul);
    }
    return false;
}

// The bytes of a property list in XML or binary form, as CFPropertyListCreateData
// and CFPropertyListWrite both write it; nothing for a value with no registry
// form, or with a string that holds U+0000 (the plist library takes strings as C
// strings, so even the binary form would cut it short).
std::optional<std::string> written_bytes(CFPropertyListRef property_list, CFPropertyListFormat format)
{
    if (holds_nul(property_list))
        return std::nullopt;
    auto const read = plinth::sim::detail::value_from_cf(property_list);
    if (!read)
        return std::nullopt;
    auto const root = node_of(*read);
    char* bytes = nullptr;
    std::uint32_t length = 0;
    if (format == kCFPropertyListBinaryFormat_v1_0)
        plist_to_bin(root.get(), &bytes, &length);
    else
        plist_to_xml(root.get(), &bytes, &length);
    if (bytes == nullptr)
        return std::nullopt;
    std::string written(bytes, length);
    if (format == kCFPropertyListBinaryFormat_v1_0)
        plist_to_bin_free(bytes);
    else
        plist_to_xml_free(bytes);
    return written;
}

// Hands an error to a caller that asked for one.
void set_error(CFErrorRef* error, CFIndex code, std::string const& text)
{
    if (error != nullptr)
        *error = plinth::sim::detail::make_property_list_error(code, text);
}

// The bytes of a property list to write in `format`, or nothing with the error set.
std::optional<std::string> bytes_to_write(CFPropertyListRef property_list, CFPropertyListFormat format,
                                          CFErrorRef* error, bool strict)
{
    // CoreFoundation reads the OpenStep format but no longer writes it.
    if (format != kCFPropertyListXMLFormat_v1_0 && format != kCFPropertyListBinaryFormat_v1_0)
    {
        set_error(error, kCFPropertyListWriteStreamError,
                  "Property list format " + std::to_string(format) +
                      " is not written here: only XML (100) and binary (200) are");
        return std::nullopt;
    }
    auto const invalid = "Property list invalid for format: " + std::to_string(format);
    if (strict && !plinth::sim::detail::is_property_list(property_list, format))
    {
        set_error(error, kCFPropertyListWriteStreamError, invalid);
        return std::nullopt;
    }
    auto written = written_bytes(property_list, format);
    if (!written)
        set_error(error, kCFPropertyListWriteStreamError, invalid);
    return written;
}

struct node_owner
{
    void operator()(plist_t node) const noexcept { plist_free(node); }
};

// Parses XML or binary property-list bytes into CF objects.
CFPropertyListRef read_property_list(std::span<UInt8 const> bytes, CFOptionFlags options, CFPropertyListFormat* format,
                                     CFErrorRef* error)
{
    constexpr std::string_view binary_magic = "bplist00";
    bool const binary =
        bytes.size() >= binary_magic.size() && std::memcmp(bytes.data(), binary_magic.data(), binary_magic.size()) == 0;
    plist_t root = nullptr;
    if (bytes.size() <= UINT32_MAX && !bytes.empty())
    {
        auto const* text = reinterpret_cast<char const*>(bytes.data());
        auto const length = static_cast<std::uint32_t>(bytes.size());
        if (binary)
            plist_from_bin(text, length, &root);
        else
            plist_from_xml(text, length, &root);
    }
    std::unique_ptr<void, node_owner> const owner(root);
    if (root == nullptr)
    {
        set_error(error, kCFPropertyListReadCorruptError,
                  binary ? "Cannot parse a binary property list" : "Cannot parse the data as an XML property list");
        return nullptr;
    }
    std::string problem;
    auto const* result = plinth::sim::detail::cf_from_plist(root, options, problem);
    if (result == nullptr)
    {
        set_error(error, kCFPropertyListReadCorruptError, "The property list holds " + problem);
        return nullptr;
    }
    if (format != nullptr)
        *format = binary ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0;
    return result;
}

} // namespace

extern "C" {

// A value that is no property list (a set, a CFURL ...) is invalid in every format;
// NULL is misuse, as CF asserts on it.
Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format)
{
    if (plist == nullptr)
    {
        plinth::sim::detail::report_misuse("CFPropertyListIsValid: NULL property list");
        return false;
    }
    return plinth::sim::detail::is_property_list(plist, format);
}

// A value whose registry form has one (a set, written as an array) is written as
// before; CFPropertyListWrite is strict about it, as CF is.
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
    auto const bytes = bytes_to_write(propertyList, format, error, false);
    if (!bytes)
        return nullptr;
    return CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>(bytes->data()), static_cast<CFIndex>(bytes->size()));
}

CFIndex CFPropertyListWrite(CFPropertyListRef propertyList, CFWriteStreamRef stream, CFPropertyListFormat format,
                            CFOptionFlags, CFErrorRef* error)
{
    if (error != nullptr)
        *error = nullptr;
    if (propertyList == nullptr)
    {
        plinth::sim::detail::report_misuse("CFPropertyListWrite: NULL property list");
        return 0;
    }
    auto* target = plinth::sim::detail::cf_checked<plinth::sim::detail::cf_write_stream>(stream, "CFPropertyListWrite");
    if (target == nullptr)
        return 0;
    auto const bytes = bytes_to_write(propertyList, format, error, true);
    if (!bytes)
        return 0;
    auto const written =
        target->write(std::span<UInt8 const>(reinterpret_cast<UInt8 const*>(bytes->data()), bytes->size()));
    if (written < 0)
    {
        set_error(error, kCFPropertyListWriteStreamError, "The stream could not be written to");
        return 0;
    }
    return written;
}

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data, CFOptionFlags options,
                                               CFPropertyListFormat* format, CFErrorRef* error)
{
    if (error != nullptr)
        *error = nullptr;
    if (data == nullptr)
    {
        plinth::sim::detail::report_misuse("CFPropertyListCreateWithData: NULL data");
        return nullptr;
    }
    if (plinth::sim::detail::cf_checked_object(data, "CFPropertyListCreateWithData", CFDataGetTypeID()) == nullptr)
        return nullptr;
    std::span<UInt8 const> const bytes(CFDataGetBytePtr(data), static_cast<std::size_t>(CFDataGetLength(data)));
    return read_property_list(bytes, options, format, error);
}

CFPropertyListRef CFPropertyListCreateWithStream(CFAllocatorRef, CFReadStreamRef stream, CFIndex streamLength,
                                                 CFOptionFlags options, CFPropertyListFormat* format, CFErrorRef* error)
{
    if (error != nullptr)
        *error = nullptr;
    auto* source =
        plinth::sim::detail::cf_checked<plinth::sim::detail::cf_read_stream>(stream, "CFPropertyListCreateWithStream");
    if (source == nullptr)
        return nullptr;
    std::vector<UInt8> bytes;
    std::vector<UInt8> chunk(16384);
    while (streamLength <= 0 || bytes.size() < static_cast<std::size_t>(streamLength))
    {
        auto wanted = chunk.size();
        if (streamLength > 0)
            wanted = std::min(wanted, static_cast<std::size_t>(streamLength) - bytes.size());
        auto const count = source->read(std::span<UInt8>(chunk.data(), wanted));
        if (count < 0)
        {
            set_error(error, kCFPropertyListReadStreamError, "The stream could not be read from");
            return nullptr;
        }
        if (count == 0)
            break;
        bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + count);
    }
    return read_property_list(bytes, options, format, error);
}

} // extern "C"
