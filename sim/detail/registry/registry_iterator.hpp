// The registry iterator: a walk of a plane, recursive or not, that notices changes.
#pragma once

#include "sim/detail/kernel/iterator_object.hpp"

#include <IOKit/IOTypes.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

namespace plinth::sim::detail {

// The iterator of IORegistryCreateIterator and IORegistryEntryCreateIterator: it
// walks the children (or, with kIORegistryIterateParents, the parents) of its root
// entry in one plane, recursing into each entry it returns when asked to with
// kIORegistryIterateRecursively (depth first, each entry once) or by
// IORegistryIteratorEnterEntry. Each level is a snapshot taken when the walk
// enters it; a change of the registry after the walk began makes is_valid false.
class registry_iterator final : public iterator_object
{
public:
    registry_iterator(std::shared_ptr<registry_entry> root, std::string plane, IOOptionBits options);

    std::shared_ptr<registry_entry> next() override;
    void reset() override;
    bool is_valid() const override;
    IOReturn enter_entry() override;
    IOReturn exit_entry() override;

private:
    struct level
    {
        std::vector<std::shared_ptr<registry_entry>> entries;
        std::size_t position = 0;
        std::shared_ptr<registry_entry> current;
    };

    bool recursive() const noexcept;
    level make_level(registry_entry const* from) const;
    void restart();
    // Makes the entry last returned the level the walk goes on in.
    void descend();

    mutable std::mutex mutex_;
    std::shared_ptr<registry_entry> const root_;
    std::string const plane_;
    IOOptionBits const options_;
    std::vector<level> levels_;
    std::unordered_set<registry_entry const*> done_;
    bool enter_current_ = false;
    std::uint64_t generation_ = 0;
};

} // namespace plinth::sim::detail
