// find_devices: the services a device_match accepts, as the registry holds them now.
#pragma once

#include "device/apple/device.hpp"
#include "device/apple/device_match.hpp"

#include <boost/system/error_code.hpp>

#include <vector>

namespace plinth::apple {

// The registry's current services of `match`'s class (or a subclass) that it
// accepts, in registry-ID order, the order the kernel made them in: the devices,
// and their order, that a device_watcher on `match` reports first, as present at
// start. A one-shot look with no notification port and no thread.
//
// Throws boost::system::system_error with IOKit's return code when IOKit refuses
// the matching. The second form reports it in `ec` and returns no device.
std::vector<device> find_devices(device_match const& match);
std::vector<device> find_devices(device_match const& match, boost::system::error_code& ec);

} // namespace plinth::apple
