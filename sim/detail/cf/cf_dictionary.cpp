// The CFDictionary object: equality, hashing, description over its hash table.
#include "sim/detail/cf/cf_dictionary.hpp"

#include <sstream>

namespace plinth::sim::detail {

cf_dictionary::cf_dictionary(cf_callbacks key_callbacks, cf_callbacks value_callbacks, bool is_mutable)
    : cf_object(cf_dictionary_type_id, false), table_(key_callbacks, value_callbacks), mutable_(is_mutable)
{
}

bool cf_dictionary::equals(cf_object const& other) const
{
    auto const& that = static_cast<cf_dictionary const&>(other).table_;
    if (that.size() != table_.size())
        return false;
    for (auto const& mine : table_)
    {
        auto const* theirs = that.find(mine.key);
        if (theirs == nullptr || !table_.value_callbacks().equal_values(mine.value, theirs->value))
            return false;
    }
    return true;
}

CFHashCode cf_dictionary::hash() const
{
    return table_.size();
}

std::string cf_dictionary::description() const
{
    std::ostringstream out;
    out << description_head() << "{type = " << (mutable_ ? "mutable" : "immutable") << ", count = " << table_.size()
        << ", entries =>\n";
    std::size_t index = 0;
    for (auto const& e : table_)
        out << '\t' << index++ << " : " << table_.key_callbacks().describe(e.key) << " = "
            << table_.value_callbacks().describe(e.value) << '\n';
    out << "}";
    return out.str();
}

} // namespace plinth::sim::detail
