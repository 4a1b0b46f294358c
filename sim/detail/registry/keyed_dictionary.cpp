// A dictionary of properties in insertion order, found by key.
#include "sim/detail/registry/keyed_dictionary.hpp"

#include <utility>

namespace plinth::sim::detail {

value const* keyed_dictionary::find(std::string_view key) const noexcept
{
    auto const found = index_.find(key);
    return found == index_.end() ? nullptr : &items_[found->second].second;
}

void keyed_dictionary::assign(std::string key, value v)
{
    if (auto const found = index_.find(key); found != index_.end())
        items_[found->second].second = std::move(v);
    else
        insert(std::move(key), std::move(v));
}

bool keyed_dictionary::insert(std::string key, value v)
{
    if (index_.contains(key))
        return false;
    items_.emplace_back(std::move(key), std::move(v));
    try
    {
        index_.emplace(items_.back().first, items_.size() - 1);
    }
    catch (...)
    {
        items_.pop_back();
        throw;
    }
    return true;
}

void keyed_dictionary::erase(std::string_view key)
{
    auto const found = index_.find(key);
    if (found == index_.end())
        return;
    std::size_t const position = found->second;
    index_.erase(found);
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position));
    // Removing a property is rare next to reading one: the positions behind it
    // move down by one.
    for (auto& [_, at] : index_)
        if (at > position)
            --at;
}

dictionary keyed_dictionary::take() &&
{
    index_.clear();
    return std::move(items_);
}

} // namespace plinth::sim::detail
