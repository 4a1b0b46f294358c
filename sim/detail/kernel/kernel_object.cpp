#include "sim/detail/kernel/kernel_object.hpp"

namespace plinth::sim::detail {

kernel_object::~kernel_object() = default;

} // namespace plinth::sim::detail
