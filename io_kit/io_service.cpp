// io_service: construction from a handle or an io_object, and IOServiceMatching into a CF::Dictionary.
#include "io_kit/io_service.hpp"

#include <utility>

namespace plinth::apple::io_kit {

io_service::io_service(io_service_t owned) noexcept : io_registry_entry(owned) {}

io_service::io_service(io_object&& object) noexcept : io_registry_entry(std::move(object)) {}

CF::Dictionary io_service::matching(std::string const& class_name) noexcept
{
    // IOKit hands out a new dictionary: the AutoPointer takes that reference over.
    return CF::Dictionary(CF::AutoPointer(IOServiceMatching(class_name.c_str())));
}

io_service_view io_service::view() const noexcept
{
    return io_service_view(get());
}

} // namespace plinth::apple::io_kit
