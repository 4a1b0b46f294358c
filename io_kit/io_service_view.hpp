// io_service_view: a non-owning registry entry that is an IOService, such as a HID device's entry.
#pragma once

#include "io_kit/io_registry_entry_view.hpp"

namespace plinth::apple::io_kit {

// A non-owning look at a registry entry that is an IOService, such as the entry
// of a HID device.
class io_service_view : public io_registry_entry_view
{
public:
    using io_registry_entry_view::io_registry_entry_view;
};

} // namespace plinth::apple::io_kit
