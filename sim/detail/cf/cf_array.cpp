// The CFArray object: values kept through its callbacks, equality, hashing, description.
#include "sim/detail/cf/cf_array.hpp"

#include <algorithm>
#include <sstream>

namespace plinth::sim::detail {

cf_array::cf_array(cf_callbacks callbacks, bool is_mutable)
    : cf_object(cf_array_type_id, false), callbacks_(callbacks), mutable_(is_mutable)
{
}

cf_array::~cf_array()
{
    clear();
}

void cf_array::insert(std::size_t index, void const* value)
{
    values_.insert(values_.begin() + static_cast<std::ptrdiff_t>(index), callbacks_.retain_value(value));
}

void cf_array::replace(std::size_t index, void const* value)
{
    callbacks_.replace_value(values_[index], value);
}

void cf_array::remove(std::size_t index)
{
    void const* const removed = values_[index];
    values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(index));
    callbacks_.release_value(removed);
}

void cf_array::clear()
{
    auto const removed = std::move(values_);
    values_.clear();
    for (void const* value : removed)
        callbacks_.release_value(value);
}

void cf_array::sort(std::size_t from, std::size_t to, CFComparatorFunction compare, void* context)
{
    auto const begin = values_.begin();
    std::stable_sort(begin + static_cast<std::ptrdiff_t>(from), begin + static_cast<std::ptrdiff_t>(to),
                     [&](void const* a, void const* b) { return compare(a, b, context) == kCFCompareLessThan; });
}

bool cf_array::equals(cf_object const& other) const
{
    auto const& theirs = static_cast<cf_array const&>(other).values_;
    if (theirs.size() != values_.size())
        return false;
    for (std::size_t i = 0; i < values_.size(); ++i)
        if (!callbacks_.equal_values(values_[i], theirs[i]))
            return false;
    return true;
}

CFHashCode cf_array::hash() const
{
    return values_.size();
}

std::string cf_array::description() const
{
    std::ostringstream out;
    out << description_head() << "{type = " << (mutable_ ? "mutable" : "immutable") << ", count = " << values_.size()
        << ", values = (\n";
    for (std::size_t i = 0; i < values_.size(); ++i)
        out << '\t' << i << " : " << callbacks_.describe(values_[i]) << '\n';
    out << ")}";
    return out.str();
}

} // namespace plinth::sim::detail
