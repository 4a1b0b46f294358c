// Converting a libplist node into a property value.
#include "sim/loaders/plist_value.hpp"

#include "sim/loaders/element_error.hpp"
#include "sim/loaders/plist_document.hpp"
#include "sim/loaders/value_depth.hpp"

#include <cstdint>
#include <ctime>
#include <string>

namespace plinth::sim::detail {

using property::array;
using property::data;
using property::dictionary;
using property::make_number;
using property::set;

namespace {

// Seconds from the Unix epoch to CoreFoundation's, 2001-01-01.
constexpr std::int64_t cf_epoch = 978307200;

// No I/O Kit property holds a date (the kernel has no date object), so a <date>
// can only come from a hand-written dump; it is kept as its ISO 8601 text.
std::string date_text(plist_t node)
{
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    std::time_t const unix_time = static_cast<std::time_t>(cf_epoch + seconds);
    std::tm parts{};
    gmtime_r(&unix_time, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

value convert(plist_t node, int depth)
{
    if (depth > max_value_depth)
        throw element_error("values nested more than " + std::to_string(max_value_depth) + " levels deep");
    switch (plist_get_node_type(node))
    {
    case PLIST_BOOLEAN: return plist_bool_val_is_true(node) != 0;
    case PLIST_UINT: {
        // libplist 2.2 keeps every integer in a uint64_t; a negative one comes
        // back as its two's complement, so the cast restores it.
        std::uint64_t bits = 0;
        plist_get_uint_val(node, &bits);
        return make_number(static_cast<std::int64_t>(bits));
    }
    case PLIST_REAL: {
        double real = 0;
        plist_get_real_val(node, &real);
        return real;
    }
    case PLIST_STRING: {
        std::uint64_t length = 0;
        char const* text = plist_get_string_ptr(node, &length);
        return std::string(text, static_cast<std::size_t>(length));
    }
    case PLIST_DATA: {
        std::uint64_t length = 0;
        auto const* bytes = reinterpret_cast<std::uint8_t const*>(plist_get_data_ptr(node, &length));
        return data(bytes, bytes + length);
    }
    case PLIST_DATE: return date_text(node);
    case PLIST_ARRAY: {
        array items;
        std::uint32_t const size = plist_array_get_size(node);
        items.reserve(size);
        for (std::uint32_t i = 0; i < size; ++i)
            items.push_back(within_step([&] { return "[" + std::to_string(i) + "]"; },
                                        [&] { return convert(plist_array_get_item(node, i), depth + 1); }));
        return items;
    }
    case PLIST_DICT: {
        dictionary items;
        for_each_dict_item(node, [&](std::string_view key, plist_t item) {
            items.emplace_back(std::string(key), within_step([&] { return "\"" + std::string(key) + "\""; },
                                                             [&] { return convert(item, depth + 1); }));
        });
        return items;
    }
    default: throw element_error(element_name(node) + " is not a property value");
    }
}

} // namespace

value plist_value(plist_t node)
{
    return convert(node, 0);
}

} // namespace plinth::sim::detail
