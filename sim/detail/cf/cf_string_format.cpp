// The text of a CFStringCreateWithFormat format: each conversion is read, its argument taken, and
// everything but %@, %C and %S is printed by the C library's snprintf with the conversion as written.
#include "sim/detail/cf/cf_string_format.hpp"

#include "sim/detail/cf/cf_checked.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_text_encoding.hpp"

#include <CoreFoundation/CFString.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace plinth::sim::detail {
namespace {

constexpr std::string_view flag_characters = "-+ #0'";
constexpr std::string_view length_characters = "hlqLzjt";

// The C library's text for one conversion and its argument.
template <typename Value>
std::string printed(std::string const& conversion, Value value)
{
    // A "%*" conversion has had its width folded in already, so that one value
    // argument follows the format here.
    int const size = std::snprintf(nullptr, 0, conversion.c_str(), value);
    if (size <= 0)
        return {};
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::snprintf(text.data(), text.size(), conversion.c_str(), value);
    text.resize(static_cast<std::size_t>(size));
    return text;
}

// What %@ shows: a string's own text, any other object's description.
std::string object_text(CFTypeRef object)
{
    if (object == nullptr)
        return "(null)";
    auto const* checked = cf_checked_object(object, "CFStringCreateWithFormat");
    if (checked == nullptr)
        return "(null)";
    if (checked->type_id() == cf_string::class_type_id())
        return static_cast<cf_string const*>(checked)->utf8();
    return checked->description();
}

std::string unichars_text(std::u16string_view units)
{
    return utf16_to_utf8(units).value_or(std::string{});
}

// Pads `text` to the conversion's width, on the left unless its flags say '-'.
std::string padded(std::string text, int width, bool left)
{
    auto const length = utf16_length(text);
    if (width <= 0 || length >= static_cast<std::size_t>(width))
        return text;
    std::string const padding(static_cast<std::size_t>(width) - length, ' ');
    return left ? text + padding : padding + text;
}

} // namespace

std::optional<std::string> format_cf_string(std::string_view format, std::va_list* args, std::string& problem)
{
    std::string out;
    std::size_t at = 0;
    while (at < format.size())
    {
        std::size_t const percent = format.find('%', at);
        out.append(format.substr(at, percent - at));
        if (percent == std::string_view::npos)
            break;
        std::size_t i = percent + 1;
        std::string conversion = "%";
        bool left = false;
        while (i < format.size() && flag_characters.find(format[i]) != std::string_view::npos)
        {
            left = left || format[i] == '-';
            conversion += format[i++];
        }
        int width = 0;
        if (i < format.size() && format[i] == '*')
        {
            width = va_arg(*args, int);
            if (width < 0)
            {
                left = true;
                conversion += '-';
                width = -width;
            }
            conversion += std::to_string(width);
            ++i;
        }
        else
        {
            std::size_t const digits = i;
            while (i < format.size() && format[i] >= '0' && format[i] <= '9')
                width = width * 10 + (format[i++] - '0');
            conversion.append(format.substr(digits, i - digits));
        }
        if (i < format.size() && format[i] == '$')
        {
            problem = "positional arguments (%1$@) are not supported";
            return std::nullopt;
        }
        if (i < format.size() && format[i] == '.')
        {
            conversion += format[i++];
            if (i < format.size() && format[i] == '*')
            {
                conversion += std::to_string(va_arg(*args, int));
                ++i;
            }
            else
                while (i < format.size() && format[i] >= '0' && format[i] <= '9')
                    conversion += format[i++];
        }
        std::string length;
        while (i < format.size() && length_characters.find(format[i]) != std::string_view::npos)
            length += format[i++];
        if (i >= format.size())
        {
            problem = "the format ends inside a conversion";
            return std::nullopt;
        }
        char const kind = format[i++];
        // 'q' is BSD's name for 'll'.
        std::string const c_length = length == "q" ? "ll" : length;
        conversion += c_length;
        conversion += kind;
        switch (kind)
        {
        case '%': out += '%'; break;
        case '@': out += padded(object_text(va_arg(*args, CFTypeRef)), width, left); break;
        case 'C': {
            char16_t const unit = static_cast<char16_t>(va_arg(*args, int));
            out += padded(unichars_text(std::u16string_view(&unit, 1)), width, left);
            break;
        }
        case 'S': {
            auto const* units = va_arg(*args, UniChar const*);
            out += padded(units == nullptr ? "(null)" : unichars_text(reinterpret_cast<char16_t const*>(units)), width,
                          left);
            break;
        }
        case 'd':
        case 'i':
            if (c_length == "ll")
                out += printed(conversion, va_arg(*args, long long));
            else if (c_length == "l" || c_length == "z" || c_length == "t")
                out += printed(conversion, va_arg(*args, long));
            else if (c_length == "j")
                out += printed(conversion, va_arg(*args, std::intmax_t));
            else
                out += printed(conversion, va_arg(*args, int));
            break;
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            if (c_length == "ll")
                out += printed(conversion, va_arg(*args, unsigned long long));
            else if (c_length == "l" || c_length == "z" || c_length == "t")
                out += printed(conversion, va_arg(*args, unsigned long));
            else if (c_length == "j")
                out += printed(conversion, va_arg(*args, std::uintmax_t));
            else
                out += printed(conversion, va_arg(*args, unsigned));
            break;
        case 'c': out += printed(conversion, va_arg(*args, int)); break;
        case 's': {
            auto const* text = va_arg(*args, char const*);
            out += printed(conversion, text == nullptr ? "(null)" : text);
            break;
        }
        case 'p': {
            // As a Mac prints it, NULL too: "0x0".
            auto const address = reinterpret_cast<std::uintptr_t>(va_arg(*args, void*));
            out += padded("0x" + printed("%lx", static_cast<unsigned long>(address)), width, left);
            break;
        }
        case 'f':
        case 'F':
        case 'e':
        case 'E':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            if (c_length == "L")
                out += printed(conversion, va_arg(*args, long double));
            else
                out += printed(conversion, va_arg(*args, double));
            break;
        default: problem = std::string("the conversion %") + kind + " is not supported"; return std::nullopt;
        }
        at = i;
    }
    return out;
}

} // namespace plinth::sim::detail
