// The CFSTR constant strings: one immortal CFString per text, looked up without allocating.
#include "sim/detail/cf/cf_live_objects.hpp"
#include "sim/detail/cf/cf_string.hpp"
#include "sim/detail/cf/cf_text_encoding.hpp"

#include <functional>
#include <mutex>
#include <span>
#include <string_view>
#include <unordered_map>

namespace plinth::sim::detail {
namespace {

// Lets a CFSTR text be looked up as it is given, without building a key string:
// CFSTR stands for a compile-time constant, so its lookup should cost no allocation.
struct text_hash
{
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
};

struct constant_string_table
{
    std::mutex mutex;
    std::unordered_map<std::string, cf_string const*, text_hash, std::equal_to<>> strings;
};

// Never destroyed, like the constants themselves: code running at exit may still
// use CFSTR.
constant_string_table& string_table()
{
    static auto* const instance = new constant_string_table;
    return *instance;
}

} // namespace

// Compilers store CFSTR literals as UTF-8 source text; bytes that are not valid
// UTF-8 are read as Mac Roman, which gives every byte a character.
cf_string const& constant_string(std::string_view text)
{
    auto& t = string_table();
    std::lock_guard lock(t.mutex);
    auto const found = t.strings.find(text);
    if (found != t.strings.end())
        return *found->second;

    std::span const bytes(reinterpret_cast<UInt8 const*>(text.data()), text.size());
    auto utf8 = decode_to_utf8(bytes, kCFStringEncodingUTF8);
    if (!utf8)
        utf8 = decode_to_utf8(bytes, kCFStringEncodingMacRoman);
    auto const* string = new cf_string(std::move(*utf8), true);
    cf_live_objects::instance().add_constant(string);
    t.strings.emplace(text, string);
    return *string;
}

} // namespace plinth::sim::detail
