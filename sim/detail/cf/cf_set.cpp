// The CFSet object: equality, hashing, description over its hash table.
#include "sim/detail/cf/cf_set.hpp"

#include <sstream>

namespace plinth::sim::detail {

cf_set::cf_set(cf_callbacks callbacks, bool is_mutable)
    : cf_object(cf_set_type_id, false), table_(callbacks, cf_callbacks{}), mutable_(is_mutable)
{
}

bool cf_set::equals(cf_object const& other) const
{
    auto const& that = static_cast<cf_set const&>(other).table_;
    if (that.size() != table_.size())
        return false;
    for (auto const& mine : table_)
        if (that.find(mine.key) == nullptr)
            return false;
    return true;
}

CFHashCode cf_set::hash() const
{
    return table_.size();
}

std::string cf_set::description() const
{
    std::ostringstream out;
    out << description_head() << "{type = " << (mutable_ ? "mutable" : "immutable") << ", count = " << table_.size()
        << ", values = (\n";
    std::size_t index = 0;
    for (auto const& e : table_)
        out << '\t' << index++ << " : " << table_.key_callbacks().describe(e.key) << '\n';
    out << ")}";
    return out.str();
}

} // namespace plinth::sim::detail
