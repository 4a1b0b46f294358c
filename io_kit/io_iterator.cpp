// io_iterator: IOIteratorNext behind next(), and share() for an iterator a notification only lends.
#include "io_kit/io_iterator.hpp"

#include "io_kit/detail/throw_if_failed.hpp"

namespace plinth::apple::io_kit {

io_iterator::io_iterator(io_iterator_t owned) noexcept : io_object(owned) {}

io_iterator io_iterator::share(io_iterator_t borrowed)
{
    if (borrowed != IO_OBJECT_NULL)
        detail::throw_if_failed(IOObjectRetain(borrowed), "IOObjectRetain");
    return io_iterator(borrowed);
}

io_object io_iterator::next()
{
    // IOKit has no error to give here: it answers null for an exhausted iterator,
    // and a null iterator (a search that matched nothing) is not asked at all.
    if (get() == IO_OBJECT_NULL)
        return io_object();
    return io_object(IOIteratorNext(get()));
}

} // namespace plinth::apple::io_kit
