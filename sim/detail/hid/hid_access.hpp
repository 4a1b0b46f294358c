// What the user decided about Input Monitoring and event posting (the system's privacy database, TCC).
#pragma once

#include <IOKit/hidsystem/IOHIDLib.h>

#include <array>
#include <mutex>

namespace plinth::sim::detail {

// The user's decisions about this process, one per request type, and what the
// user answers when asked while undecided. Both start granted, so that a program
// that never plays a refusal reads its devices as an authorized one would.
class hid_access
{
public:
    static hid_access& instance();

    // What the user decided; kIOHIDAccessTypeUnknown for a request type the
    // system does not know.
    IOHIDAccessType check(IOHIDRequestType type) const;
    // Asks when undecided (the answer is then the decision), never again after.
    bool request(IOHIDRequestType type);

    void set_decision(IOHIDRequestType type, IOHIDAccessType decision);
    void set_answer_when_asked(IOHIDRequestType type, bool grant);
    // Every request type back to granted, with a grant when asked.
    void reset();

private:
    struct decision_of_one_type
    {
        IOHIDAccessType decision = kIOHIDAccessTypeGranted;
        bool grant_when_asked = true;
    };

    hid_access() = default;

    mutable std::mutex mutex_;
    std::array<decision_of_one_type, 2> by_type_{};
};

} // namespace plinth::sim::detail
