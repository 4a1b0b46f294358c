// The base of the kernel's iterators (IOUserIterator).
#pragma once

#include "sim/detail/kernel/kernel_object.hpp"

#include <IOKit/IOReturn.h>

#include <memory>

namespace plinth::sim::detail {

class registry_entry;

// An I/O Kit iterator as a task holds it (class IOUserIterator). Each kind guards
// its own position, so that two threads may step one iterator.
class iterator_object : public kernel_object
{
public:
    // The next entry, or null when the iterator is exhausted.
    virtual std::shared_ptr<registry_entry> next() = 0;
    virtual void reset() = 0;
    // False once what a registry iterator walks has changed since it started.
    virtual bool is_valid() const = 0;
    // Recursion control of registry iterators; other iterators do not support it.
    virtual IOReturn enter_entry() { return kIOReturnBadArgument; }
    virtual IOReturn exit_entry() { return kIOReturnBadArgument; }
};

} // namespace plinth::sim::detail
