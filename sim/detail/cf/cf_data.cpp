// The CFData object: its bytes, equality, hashing, description.
#include "sim/detail/cf/cf_data.hpp"

#include <functional>
#include <iomanip>
#include <sstream>
#include <string_view>

namespace plinth::sim::detail {

cf_data::cf_data(std::vector<UInt8> bytes, bool is_mutable, std::size_t capacity)
    : cf_object(cf_data_type_id, false), bytes_(std::move(bytes)), mutable_(is_mutable), capacity_(capacity)
{
}

bool cf_data::equals(cf_object const& other) const
{
    return bytes_ == static_cast<cf_data const&>(other).bytes_;
}

CFHashCode cf_data::hash() const
{
    std::string_view const view(reinterpret_cast<char const*>(bytes_.data()), bytes_.size());
    return std::hash<std::string_view>{}(view);
}

std::string cf_data::description() const
{
    std::ostringstream out;
    out << description_head() << "{length = " << bytes_.size() << ", bytes = 0x" << std::hex << std::setfill('0');
    for (UInt8 const byte : bytes_)
        out << std::setw(2) << unsigned{byte};
    out << '}';
    return out.str();
}

} // namespace plinth::sim::detail
