// io_service: an owned registry entry that is an IOService, and IOServiceMatching by class name.
#pragma once

#include "io_kit/cf/dictionary.hpp"
#include "io_kit/io_object.hpp"
#include "io_kit/io_registry_entry.hpp"
#include "io_kit/io_service_view.hpp"

#include <IOKit/IOKitLib.h>

#include <string>

namespace plinth::apple::io_kit {

// Owns a reference to a registry entry that is an IOService.
class io_service : public io_registry_entry
{
public:
    io_service() noexcept = default;

    // Takes over one reference to `owned`, or nothing for a null handle.
    explicit io_service(io_service_t owned) noexcept;

    // Takes the reference of an object known to be a service (a registry entry
    // included); `object` is left null.
    io_service(io_object&& object) noexcept;

    // The matching dictionary for every service of class `class_name` or a
    // subclass (IOServiceMatching); empty if IOKit cannot make one.
    static CF::Dictionary matching(std::string const& class_name) noexcept;

    io_service_view view() const noexcept;
};

} // namespace plinth::apple::io_kit
