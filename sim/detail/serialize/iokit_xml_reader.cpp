// Reading IOKit's XML form into CF property values, through Boost.PropertyTree's XML parser.
#include "sim/detail/serialize/iokit_xml_reader.hpp"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFSet.h>
#include <CoreFoundation/CFString.h>

#include <boost/archive/iterators/binary_from_base64.hpp>
#include <boost/archive/iterators/remove_whitespace.hpp>
#include <boost/archive/iterators/transform_width.hpp>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <type_traits>

namespace plinth::sim::detail {

namespace {

using boost::property_tree::ptree;

struct cf_releaser
{
    void operator()(void const* object) const { CFRelease(object); }
};
using cf_holder = std::unique_ptr<std::remove_pointer_t<CFTypeRef>, cf_releaser>;

struct bad_input : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// The ptree children that are no elements: attributes and comments.
bool is_markup(std::string const& name)
{
    return name == "<xmlattr>" || name == "<xmlcomment>";
}

std::string attribute(ptree const& element, char const* name)
{
    return element.get<std::string>(std::string("<xmlattr>.") + name, "");
}

std::uint64_t parse_unsigned(std::string_view text, std::string const& what)
{
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X"))
    {
        text.remove_prefix(2);
        base = 16;
    }
    std::uint64_t value = 0;
    auto const [end, result] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (text.empty() || result != std::errc{} || end != text.data() + text.size())
        throw bad_input(fmt::format("{} is not a number: \"{}\"", what, text));
    return value;
}

std::string_view trimmed(std::string const& text)
{
    auto const first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    auto const last = text.find_last_not_of(" \t\r\n");
    return std::string_view(text).substr(first, last - first + 1);
}

class reader
{
public:
    explicit reader(CFAllocatorRef allocator) : allocator_(allocator) {}

    cf_holder value(std::string const& tag, ptree const& element)
    {
        if (auto const reference = attribute(element, "IDREF"); !reference.empty())
        {
            auto const found = ids_.find(reference);
            if (found == ids_.end())
                throw bad_input(fmt::format("<{}> refers to ID \"{}\", which no earlier value has", tag, reference));
            return cf_holder(CFRetain(found->second.get()));
        }
        cf_holder made = make(tag, element);
        if (auto const id = attribute(element, "ID"); !id.empty())
            ids_[id] = cf_holder(CFRetain(made.get()));
        return made;
    }

private:
    cf_holder make(std::string const& tag, ptree const& element)
    {
        if (tag == "dict")
            return dictionary(element);
        if (tag == "array" || tag == "set")
            return collection(tag, element);
        if (tag == "string")
            return string(element.data());
        if (tag == "integer")
            return integer(element);
        if (tag == "real")
            return real(element.data());
        if (tag == "data")
            return data(element.data());
        if (tag == "true" || tag == "false")
            return cf_holder(CFRetain(tag == "true" ? kCFBooleanTrue : kCFBooleanFalse));
        throw bad_input(fmt::format("unknown element <{}>", tag));
    }

    cf_holder dictionary(ptree const& element)
    {
        cf_holder made(
            CFDictionaryCreateMutable(allocator_, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
        cf_holder key;
        for (auto const& [tag, child] : element)
        {
            if (is_markup(tag))
                continue;
            if (!key)
            {
                if (tag != "key")
                    throw bad_input(fmt::format("<{}> in a <dict> where a <key> belongs", tag));
                key = string(child.data());
                continue;
            }
            auto const member = value(tag, child);
            CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void*>(made.get())), key.get(),
                                 member.get());
            key.reset();
        }
        if (key)
            throw bad_input("a <key> without a value at the end of a <dict>");
        return made;
    }

    cf_holder collection(std::string const& kind, ptree const& element)
    {
        bool const is_set = kind == "set";
        cf_holder made(is_set ? static_cast<CFTypeRef>(CFSetCreateMutable(allocator_, 0, &kCFTypeSetCallBacks))
                              : static_cast<CFTypeRef>(CFArrayCreateMutable(allocator_, 0, &kCFTypeArrayCallBacks)));
        for (auto const& [tag, child] : element)
        {
            if (is_markup(tag))
                continue;
            auto const member = value(tag, child);
            if (is_set)
                CFSetAddValue(static_cast<CFMutableSetRef>(const_cast<void*>(made.get())), member.get());
            else
                CFArrayAppendValue(static_cast<CFMutableArrayRef>(const_cast<void*>(made.get())), member.get());
        }
        return made;
    }

    cf_holder string(std::string const& text)
    {
        auto const* made = CFStringCreateWithBytes(allocator_, reinterpret_cast<UInt8 const*>(text.data()),
                                                   static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
        if (!made)
            throw bad_input("a string that is not UTF-8");
        return cf_holder(made);
    }

    cf_holder integer(ptree const& element)
    {
        auto const size_text = attribute(element, "size");
        auto const size = size_text.empty() ? 64 : parse_unsigned(size_text, "an integer's size");
        if (size == 0 || size > 64)
            throw bad_input(fmt::format("an integer of {} bits", size));
        auto text = trimmed(element.data());
        bool const negative = text.starts_with('-');
        if (negative)
            text.remove_prefix(1);
        auto pattern = parse_unsigned(text, "an integer");
        if (negative)
            pattern = ~pattern + 1;
        // The kernel keeps `size` bits; they read back as a signed number of 32
        // bits (up to 32) or 64.
        if (size <= 32)
        {
            auto const value = static_cast<std::int32_t>(static_cast<std::uint32_t>(pattern));
            return cf_holder(CFNumberCreate(allocator_, kCFNumberSInt32Type, &value));
        }
        auto const value = static_cast<std::int64_t>(pattern);
        return cf_holder(CFNumberCreate(allocator_, kCFNumberSInt64Type, &value));
    }

    cf_holder real(std::string const& text)
    {
        double value = 0;
        auto const digits = trimmed(text);
        auto const [end, result] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (digits.empty() || result != std::errc{} || end != digits.data() + digits.size())
            throw bad_input(fmt::format("a real that is not a number: \"{}\"", text));
        return cf_holder(CFNumberCreate(allocator_, kCFNumberFloat64Type, &value));
    }

    cf_holder data(std::string const& text)
    {
        using namespace boost::archive::iterators;
        using decoder = transform_width<binary_from_base64<remove_whitespace<std::string::const_iterator>>, 8, 6>;
        std::string compact;
        for (char const c : text)
            if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
                compact += c;
        auto const padding = compact.size() - compact.find_last_not_of('=') - 1;
        if (compact.size() % 4 != 0 || padding > 2)
            throw bad_input("<data> that is not base64");
        std::string bytes;
        try
        {
            std::string const body = compact.substr(0, compact.size() - padding) + std::string(padding, 'A');
            bytes.assign(decoder(body.begin()), decoder(body.end()));
        }
        catch (dataflow_exception const&)
        {
            throw bad_input("<data> that is not base64");
        }
        bytes.resize(bytes.size() - padding);
        return cf_holder(
            CFDataCreate(allocator_, reinterpret_cast<UInt8 const*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
    }

    CFAllocatorRef allocator_;
    std::map<std::string, cf_holder> ids_;
};

// The one value element of a document or of its <plist>.
std::pair<std::string, ptree const*> only_value(ptree const& parent, char const* where)
{
    std::pair<std::string, ptree const*> found{"", nullptr};
    for (auto const& [tag, child] : parent)
    {
        if (is_markup(tag))
            continue;
        if (found.second)
            throw bad_input(fmt::format("more than one value in {}", where));
        found = {tag, &child};
    }
    if (!found.second)
        throw bad_input(fmt::format("no value in {}", where));
    return found;
}

} // namespace

CFTypeRef read_iokit_xml(std::string_view text, std::string& error)
{
    ptree document;
    try
    {
        std::istringstream stream{std::string(text)};
        boost::property_tree::read_xml(stream, document);
    }
    catch (boost::property_tree::xml_parser_error const& failure)
    {
        error = fmt::format("line {}: {}", failure.line(), failure.message());
        return nullptr;
    }
    try
    {
        auto [tag, element] = only_value(document, "the text");
        if (tag == "plist")
            std::tie(tag, element) = only_value(*element, "<plist>");
        reader values(nullptr);
        return values.value(tag, *element).release();
    }
    catch (bad_input const& failure)
    {
        error = failure.what();
        return nullptr;
    }
}

} // namespace plinth::sim::detail
