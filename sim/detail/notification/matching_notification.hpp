// A matching notification: an iterator over arrived services, and a callback armed by draining it.
#pragma once

#include "sim/detail/kernel/iterator_object.hpp"
#include "sim/detail/registry/service_matcher.hpp"

#include <IOKit/IOKitLib.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace plinth::sim::detail {

class notification_port;
class registry_entry;

// A matching notification as the task holds it: an iterator over the services
// that arrived (published, or terminated) and have not been taken yet. It fires
// only when armed, and it is armed by draining it; each firing disarms it, so the
// caller gets one callback per drain however many services arrive meanwhile.
class matching_notification final : public iterator_object
{
public:
    enum class kind
    {
        publish,
        terminate
    };

    // The most arrivals held for the caller; later ones are lost, as in the kernel.
    static constexpr std::size_t max_pending = 1024;

    matching_notification(kind k, service_matcher matcher, std::shared_ptr<notification_port> port,
                          IOServiceMatchingCallback callback, void* refcon,
                          std::vector<std::shared_ptr<registry_entry>> initial);

    kind notification_kind() const noexcept { return kind_; }
    service_matcher const& matcher() const noexcept { return matcher_; }

    // The caller's name for this iterator, which the callback is given.
    void set_name(io_iterator_t name);

    // A matching service arrived: held for the caller, and the callback posted to
    // the port if armed.
    void arrive(std::shared_ptr<registry_entry> entry);

    // Most recent arrival first.
    std::shared_ptr<registry_entry> next() override;
    void reset() override;
    bool is_valid() const override;

private:
    kind const kind_;
    service_matcher const matcher_;
    std::shared_ptr<notification_port> const port_;
    IOServiceMatchingCallback const callback_;
    void* const refcon_;
    io_iterator_t name_ = 0;

    std::mutex mutex_;
    std::vector<std::shared_ptr<registry_entry>> pending_;
    bool armed_ = false;
};

} // namespace plinth::sim::detail
