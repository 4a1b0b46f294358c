// input_monitoring: whether the user lets this program listen to keyboards, mice and touch pads (checked, or asked).
#pragma once

namespace plinth::apple {

// What the user decided in System Settings > Privacy & Security > Input
// Monitoring about this program.
enum class input_monitoring_access
{
    granted,
    denied,
    // Not asked yet (or the system could not say): the first open of a keyboard,
    // mouse or touch pad asks.
    unknown,
};

// The decision as it stands; never asks the user.
input_monitoring_access check_input_monitoring_access() noexcept;

// Asks the user when undecided, and tells whether access is granted. The system's
// prompt keeps the calling thread waiting: call it where blocking is fine, never
// on a run-loop thread. A refusal stands until the user changes it in the
// settings; asking again does not prompt again.
bool request_input_monitoring_access() noexcept;

} // namespace plinth::apple
