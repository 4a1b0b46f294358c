// What the user decided about Input Monitoring and event posting (the system's privacy database, TCC).
#include "sim/detail/hid/hid_access.hpp"

namespace plinth::sim::detail {
namespace {

bool known(IOHIDRequestType type)
{
    return type == kIOHIDRequestTypePostEvent || type == kIOHIDRequestTypeListenEvent;
}

} // namespace

hid_access& hid_access::instance()
{
    // Never destroyed: a thread may still ask while static destructors run.
    static auto* const access = new hid_access;
    return *access;
}

IOHIDAccessType hid_access::check(IOHIDRequestType type) const
{
    // Checking never asks the user; a request type the system does not know is
    // undecided.
    if (!known(type))
        return kIOHIDAccessTypeUnknown;
    std::lock_guard const lock(mutex_);
    return by_type_[type].decision;
}

bool hid_access::request(IOHIDRequestType type)
{
    if (!known(type))
        return false;
    std::lock_guard const lock(mutex_);
    auto& entry = by_type_[type];
    // Asking prompts the user only while undecided; the answer is kept, and a
    // refusal stands until the user changes it in System Settings.
    if (entry.decision == kIOHIDAccessTypeUnknown)
        entry.decision = entry.grant_when_asked ? kIOHIDAccessTypeGranted : kIOHIDAccessTypeDenied;
    return entry.decision == kIOHIDAccessTypeGranted;
}

void hid_access::set_decision(IOHIDRequestType type, IOHIDAccessType decision)
{
    if (!known(type))
        return;
    std::lock_guard const lock(mutex_);
    by_type_[type].decision = decision;
}

void hid_access::set_answer_when_asked(IOHIDRequestType type, bool grant)
{
    if (!known(type))
        return;
    std::lock_guard const lock(mutex_);
    by_type_[type].grant_when_asked = grant;
}

void hid_access::reset()
{
    std::lock_guard const lock(mutex_);
    by_type_ = {};
}

} // namespace plinth::sim::detail
