// The device end of a HID device: its clients, seizing, reports set and sent, removal.
#pragma once

#include <IOKit/hid/IOHIDBase.h>
#include <IOKit/hid/IOHIDDeviceTypes.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace plinth::sim::detail {

class hid_client;
class registry_entry;

// The device end of one HID device of the registry: who has it open, what it was
// sent, the feature and input reports it answers with, and whether it is still
// plugged in.
class hid_hardware
{
public:
    struct sent_report
    {
        IOHIDReportType type;
        std::uint32_t report_id;
        std::vector<std::uint8_t> bytes;
    };

    // The device of `entry`, made on first use; a new one once the entry left
    // and came back.
    static std::shared_ptr<hid_hardware> of(std::shared_ptr<registry_entry> const& entry);
    // The device with registry entry ID `id`, if a client ever made it.
    static std::shared_ptr<hid_hardware> find(std::uint64_t id);

    std::uint64_t id() const noexcept { return id_; }

    void add_client(std::shared_ptr<hid_client> const& client);
    // Whether another client than `asking` has the device seized.
    bool seized_by_other(hid_client const* asking) const;
    bool is_removed() const;

    // Sends an input report to the clients; it is also the device's current input
    // report of that ID from now on.
    void post_input(std::uint32_t report_id, std::vector<std::uint8_t> const& bytes);
    std::size_t dropped_input_reports() const;

    void record_output(IOHIDReportType type, std::uint32_t report_id, std::vector<std::uint8_t> bytes);
    std::vector<sent_report> sent() const;
    void set_feature(std::uint32_t report_id, std::vector<std::uint8_t> bytes);
    // The feature report's bytes; false when the device has none of that ID.
    bool feature(std::uint32_t report_id, std::vector<std::uint8_t>& bytes) const;
    // The input report of that ID the device answers a request with, without
    // sending it to anyone.
    void set_input(std::uint32_t report_id, std::vector<std::uint8_t> bytes);
    // The current input report's bytes; false when the device has none of that ID.
    bool input(std::uint32_t report_id, std::vector<std::uint8_t>& bytes) const;

    // The device's present report of `type` and `report_id`, as a request for it
    // gets it: a feature or an input report; false when it has none such.
    bool current_report(IOHIDReportType type, std::uint32_t report_id, std::vector<std::uint8_t>& bytes) const;

    // How the device answers set and get report requests: `delay` after each (zero:
    // at once, as it starts), or never (nullopt). A change applies to the requests
    // pending too, counted from when each was made.
    using clock = std::chrono::steady_clock;
    void set_answer_delay(std::optional<clock::duration> delay);
    // When the device answers a request made at `submitted`; nullopt while it
    // answers none.
    std::optional<clock::time_point> answer_time(clock::time_point submitted) const;
    // Blocks a synchronous request made at `submitted` until the device answers
    // it; false when the device leaves first.
    bool wait_for_answer(clock::time_point submitted) const;

    // The entry left the registry: every client learns it.
    void remove();

    // Called on the delivering thread just before a client's report callback.
    void set_delivery_observer(std::function<void()> observer);
    void report_delivery() const;

private:
    explicit hid_hardware(std::uint64_t id) : id_(id) {}
    std::vector<std::shared_ptr<hid_client>> live_clients() const;

    std::uint64_t id_;
    mutable std::mutex mutex_;
    std::vector<std::weak_ptr<hid_client>> clients_;
    std::vector<sent_report> sent_;
    std::map<std::uint32_t, std::vector<std::uint8_t>> features_;
    std::map<std::uint32_t, std::vector<std::uint8_t>> inputs_;
    std::size_t dropped_ = 0;
    bool removed_ = false;
    std::optional<clock::duration> answer_delay_ = clock::duration::zero();
    mutable std::condition_variable answers_changed_;
    // Shared, so that a delivery copies a pointer rather than the function.
    std::shared_ptr<std::function<void()> const> delivery_observer_;
};

} // namespace plinth::sim::detail
