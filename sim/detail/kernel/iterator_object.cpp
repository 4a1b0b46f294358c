#include "sim/detail/kernel/iterator_object.hpp"

namespace plinth::sim::detail {

IOReturn iterator_object::enter_entry()
{
    return kIOReturnBadArgument;
}

IOReturn iterator_object::exit_entry()
{
    return kIOReturnBadArgument;
}

} // namespace plinth::sim::detail
