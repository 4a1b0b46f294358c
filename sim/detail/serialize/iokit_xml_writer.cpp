// Writing CF property values in IOKit's XML form.
#include "sim/detail/serialize/iokit_xml_writer.hpp"

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFSet.h>
#include <CoreFoundation/CFString.h>

#include <boost/archive/iterators/base64_from_binary.hpp>
#include <boost/archive/iterators/transform_width.hpp>
#include <fmt/format.h>

#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

namespace plinth::sim::detail {

namespace {

std::string base64(std::uint8_t const* bytes, std::size_t size)
{
    using encoder =
        boost::archive::iterators::base64_from_binary<boost::archive::iterators::transform_width<char const*, 6, 8>>;
    auto const* const begin = reinterpret_cast<char const*>(bytes);
    std::string text(encoder(begin), encoder(begin + size));
    text.append((3 - size % 3) % 3, '=');
    return text;
}

class writer
{
public:
    bool write(CFTypeRef value)
    {
        if (!value)
            return false;
        auto const type = CFGetTypeID(value);
        if (type == CFBooleanGetTypeID())
        {
            out_ += CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "<true/>" : "<false/>";
            return true;
        }
        if (type != CFStringGetTypeID() && type != CFNumberGetTypeID() && type != CFDataGetTypeID() &&
            type != CFArrayGetTypeID() && type != CFDictionaryGetTypeID() && type != CFSetGetTypeID())
            return false;
        char const* const tag = tag_of(type);
        // A value written before is referred to, not written again.
        if (auto const seen = ids_.find(value); seen != ids_.end())
        {
            out_ += fmt::format("<{} IDREF=\"{}\"/>", tag, seen->second);
            return true;
        }
        auto const id = ids_.size();
        ids_.emplace(value, id);
        if (type == CFNumberGetTypeID())
            return write_number(static_cast<CFNumberRef>(value), id);
        if (type == CFStringGetTypeID())
        {
            out_ += fmt::format("<string ID=\"{}\">", id);
            append_escaped(static_cast<CFStringRef>(value));
            out_ += "</string>";
            return true;
        }
        if (type == CFDataGetTypeID())
        {
            auto const data = static_cast<CFDataRef>(value);
            out_ += fmt::format("<data ID=\"{}\">{}</data>", id,
                                base64(CFDataGetBytePtr(data), static_cast<std::size_t>(CFDataGetLength(data))));
            return true;
        }
        out_ += fmt::format("<{} ID=\"{}\">", tag, id);
        if (!write_members(value, type))
            return false;
        out_ += fmt::format("</{}>", tag);
        return true;
    }

    std::string take() { return std::move(out_); }

private:
    static char const* tag_of(CFTypeID type)
    {
        if (type == CFStringGetTypeID())
            return "string";
        if (type == CFNumberGetTypeID())
            return "integer";
        if (type == CFDataGetTypeID())
            return "data";
        if (type == CFArrayGetTypeID())
            return "array";
        if (type == CFSetGetTypeID())
            return "set";
        return "dict";
    }

    bool write_number(CFNumberRef number, std::size_t id)
    {
        if (CFNumberIsFloatType(number))
        {
            double real = 0;
            CFNumberGetValue(number, kCFNumberFloat64Type, &real);
            out_ += fmt::format("<real ID=\"{}\">{}</real>", id, real);
            return true;
        }
        // The kernel's numbers are unsigned bit patterns of a size: a negative
        // number is written as its two's complement in that many bits.
        std::int64_t value = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &value);
        auto const bits = static_cast<unsigned>(CFNumberGetByteSize(number)) * 8u;
        auto pattern = static_cast<std::uint64_t>(value);
        if (bits < 64)
            pattern &= (std::uint64_t{1} << bits) - 1;
        out_ += fmt::format("<integer size=\"{}\" ID=\"{}\">0x{:x}</integer>", bits, id, pattern);
        return true;
    }

    bool write_members(CFTypeRef value, CFTypeID type)
    {
        if (type == CFArrayGetTypeID())
        {
            auto const array = static_cast<CFArrayRef>(value);
            for (CFIndex i = 0, count = CFArrayGetCount(array); i < count; ++i)
                if (!write(CFArrayGetValueAtIndex(array, i)))
                    return false;
            return true;
        }
        if (type == CFSetGetTypeID())
        {
            auto const set = static_cast<CFSetRef>(value);
            std::vector<void const*> members(static_cast<std::size_t>(CFSetGetCount(set)));
            CFSetGetValues(set, members.data());
            for (auto const* member : members)
                if (!write(member))
                    return false;
            return true;
        }
        auto const dictionary = static_cast<CFDictionaryRef>(value);
        auto const count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
        std::vector<void const*> keys(count), values(count);
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
        for (std::size_t i = 0; i < count; ++i)
        {
            if (!keys[i] || CFGetTypeID(keys[i]) != CFStringGetTypeID())
                return false;
            out_ += "<key>";
            append_escaped(static_cast<CFStringRef>(keys[i]));
            out_ += "</key>";
            if (!write(values[i]))
                return false;
        }
        return true;
    }

    void append_escaped(CFStringRef string)
    {
        auto const size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
        std::vector<char> buffer(static_cast<std::size_t>(size));
        if (!CFStringGetCString(string, buffer.data(), size, kCFStringEncodingUTF8))
            return;
        for (char const c : std::string_view(buffer.data()))
        {
            switch (c)
            {
            case '&': out_ += "&amp;"; break;
            case '<': out_ += "&lt;"; break;
            case '>': out_ += "&gt;"; break;
            default: out_ += c;
            }
        }
    }

    std::string out_;
    std::map<CFTypeRef, std::size_t> ids_;
};

} // namespace

std::optional<std::string> write_iokit_xml(CFTypeRef value)
{
    writer out;
    if (!out.write(value))
        return std::nullopt;
    return out.take();
}

} // namespace plinth::sim::detail
