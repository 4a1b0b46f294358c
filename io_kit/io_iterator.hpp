// io_iterator: an owned io_iterator_t that hands out the objects it walks, each owned by the caller.
#pragma once

#include "io_kit/io_object.hpp"

#include <IOKit/IOKitLib.h>

namespace plinth::apple::io_kit {

// Owns an IOKit iterator (io_iterator_t) and walks it.
class io_iterator : public io_object
{
public:
    io_iterator() noexcept = default;

    // Takes over one reference to `owned`, or nothing for a null handle.
    explicit io_iterator(io_iterator_t owned) noexcept;

    // A reference of its own to `borrowed`, an iterator that somebody else owns
    // (the one a matching notification hands its callback). Throws
    // boost::system::system_error when IOKit refuses the reference.
    static io_iterator share(io_iterator_t borrowed);

    // The next object, owned by the result; a null object once the iterator is
    // exhausted, and again on every later call. A null iterator is exhausted.
    io_object next();
};

} // namespace plinth::apple::io_kit
