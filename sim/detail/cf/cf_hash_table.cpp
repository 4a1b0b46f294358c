// The hash table behind CFDictionary and CFSet.
#include "sim/detail/cf/cf_hash_table.hpp"

#include <boost/tuple/tuple.hpp>

namespace plinth::sim::detail {

// The hash and equality functors point at this table's own copy of the key
// callbacks, which lives as long as the container does.
cf_hash_table::cf_hash_table(cf_callbacks key_callbacks, cf_callbacks value_callbacks)
    : key_callbacks_(key_callbacks),
      value_callbacks_(value_callbacks),
      entries_(boost::make_tuple(
          boost::tuples::null_type(),
          boost::make_tuple(std::size_t{0}, key_of_entry(), key_hash{&key_callbacks_}, key_equal{&key_callbacks_})))
{
}

cf_hash_table::~cf_hash_table()
{
    clear();
}

cf_hash_table::entry const* cf_hash_table::find(void const* key) const
{
    auto const& by_key = entries_.get<1>();
    auto const found = by_key.find(key);
    return found == by_key.end() ? nullptr : &*found;
}

std::vector<cf_hash_table::entry> cf_hash_table::snapshot() const
{
    std::vector<entry> result;
    result.reserve(entries_.size());
    for (auto const& stored : entries_)
        result.push_back({stored.key, stored.value});
    return result;
}

bool cf_hash_table::add(void const* key, void const* value)
{
    if (find(key) != nullptr)
        return false;
    insert_new(key, value);
    return true;
}

// One lookup decides between replacing and inserting: property dictionaries are
// filled through CFDictionarySetValue, one key at a time.
void cf_hash_table::set(void const* key, void const* value)
{
    if (auto const* stored = find(key))
        value_callbacks_.replace_value(stored->value, value);
    else
        insert_new(key, value);
}

bool cf_hash_table::replace(void const* key, void const* value)
{
    auto const* stored = find(key);
    if (stored == nullptr)
        return false;
    value_callbacks_.replace_value(stored->value, value);
    return true;
}

// For a key known to be absent. The key callbacks may store another object than
// `key` (kCFCopyStringDictionaryKeyCallBacks stores a copy), equal to it.
void cf_hash_table::insert_new(void const* key, void const* value)
{
    void const* const stored_key = key_callbacks_.retain_value(key);
    void const* const stored_value = value_callbacks_.retain_value(value);
    entries_.push_back({stored_key, stored_value});
}

bool cf_hash_table::remove(void const* key)
{
    auto& by_key = entries_.get<1>();
    auto const found = by_key.find(key);
    if (found == by_key.end())
        return false;
    entry const removed = *found;
    by_key.erase(found);
    // Released after the table no longer holds them: release callbacks may look at it.
    key_callbacks_.release_value(removed.key);
    value_callbacks_.release_value(removed.value);
    return true;
}

void cf_hash_table::clear()
{
    auto const removed = snapshot();
    entries_.clear();
    for (auto const& e : removed)
    {
        key_callbacks_.release_value(e.key);
        value_callbacks_.release_value(e.value);
    }
}

} // namespace plinth::sim::detail
