// The hash table behind CFDictionary and CFSet: keys hashed and compared by their callbacks.
#pragma once

#include "sim/detail/cf/cf_callbacks.hpp"

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/member.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>

#include <cstddef>
#include <vector>

namespace plinth::sim::detail {

// The storage of CFDictionary and CFSet: keys hashed and compared by the
// collection's key callbacks, each with a value, enumerated in insertion order (CF
// promises no order; insertion order keeps dumps and tests readable).
// The table owns what it stores: it retains keys and values through the callbacks
// on the way in and releases them on the way out. A set uses no value callbacks
// and stores each value as its own key.
class cf_hash_table
{
public:
    struct entry
    {
        void const* key;
        mutable void const* value; // not part of the index: replaceable in place
    };

    cf_hash_table(cf_callbacks key_callbacks, cf_callbacks value_callbacks);
    ~cf_hash_table();
    cf_hash_table(cf_hash_table const&) = delete;
    cf_hash_table& operator=(cf_hash_table const&) = delete;

    cf_callbacks const& key_callbacks() const noexcept { return key_callbacks_; }
    cf_callbacks const& value_callbacks() const noexcept { return value_callbacks_; }

    std::size_t size() const noexcept { return entries_.size(); }
    entry const* find(void const* key) const;

    // The entries in place, in order, for walks that run no code able to change the
    // table: the collection's own equal, hash, retain and description callbacks only
    // read. Property reads enumerate every dictionary this way, so it must not copy.
    auto begin() const noexcept { return entries_.begin(); }
    auto end() const noexcept { return entries_.end(); }

    // A copy of the entries, in order, for walks that call code which may change the
    // table (appliers, release callbacks).
    std::vector<entry> snapshot() const;

    // Adds the pair when the key is absent; false (and no change) when present.
    bool add(void const* key, void const* value);
    // Adds the pair, or replaces the value of a present key (its key is kept).
    void set(void const* key, void const* value);
    // Replaces the value of a present key; false when absent.
    bool replace(void const* key, void const* value);
    bool remove(void const* key);
    void clear();

private:
    struct key_hash
    {
        cf_callbacks const* callbacks;
        std::size_t operator()(void const* key) const { return callbacks->hash_value(key); }
    };

    struct key_equal
    {
        cf_callbacks const* callbacks;
        bool operator()(void const* a, void const* b) const { return callbacks->equal_values(a, b); }
    };

    using key_of_entry = boost::multi_index::member<entry, void const*, &entry::key>;
    using container = boost::multi_index_container<
        entry, boost::multi_index::indexed_by<boost::multi_index::sequenced<>,
                                              boost::multi_index::hashed_unique<key_of_entry, key_hash, key_equal>>>;

    void insert_new(void const* key, void const* value);

    cf_callbacks key_callbacks_;
    cf_callbacks value_callbacks_;
    container entries_;
};

} // namespace plinth::sim::detail
