// The device end of a HID device: its clients, seizing, reports set and sent, removal.
#pragma once

#include <IOKit/IOReturn.h>
#include <IOKit/IOTypes.h>
#include <IOKit/hid/IOHIDBase.h>
#include <IOKit/hid/IOHIDDeviceTypes.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace plinth::sim::detail {

class hid_client;
class registry_entry;

// The device end of one HID device of the registry: who has it open (the kernel's
// open set, with an IOHIDLibUserClient entry below the device for each client),
// who holds it seized, what it was sent, the feature and input reports it answers
// with, and whether it is still plugged in.
//
// A client is known by a token (new_client_token): an IOHIDDeviceRef's client of
// this process, or a client that the control interface plays for another process.
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

    // A token no client had before.
    static std::uint64_t new_client_token();

    std::uint64_t id() const noexcept { return id_; }

    // An IOHIDDeviceRef's client, which receives input reports while open.
    void add_client(std::shared_ptr<hid_client> const& client);

    // The client joins the open set with `options` (and `creator`, the text of its
    // user-client entry, "pid N, name"); returns what IOHIDDeviceOpen returns. A
    // client already open keeps its entry and may seize now.
    IOReturn open(std::uint64_t client, IOOptionBits options, std::string const& creator);
    // The client leaves the open set; kIOReturnNotOpen when it was not in it.
    IOReturn close(std::uint64_t client);
    // Whether another client than `asking` has the device seized.
    bool seized_by_other(std::uint64_t asking) const;
    bool is_removed() const;
    // The device entry's own integer property `key`, if it has one.
    std::optional<std::uint64_t> device_number(std::string_view key) const;

    // Sends an input report to the clients; it is also the device's current input
    // report of that ID from now on.
    void post_input(std::uint32_t report_id, std::span<std::uint8_t const> bytes);
    // Reports dropped by full client queues, over every client the device had.
    std::size_t dropped_input_reports() const;
    // The (run loop, mode) pairs the device's live clients are scheduled in, summed.
    std::size_t schedulings() const;
    // The clients a report posted now would reach.
    std::size_t readers() const;
    // Brings each user-client entry's "DebugState" up to date, as a client's report
    // queue changed (made, or a report dropped).
    void refresh_client_states();

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
    // One client of the open set.
    struct opener
    {
        std::uint64_t client;
        IOOptionBits options;
        bool seizing; // holds the device seized
        std::shared_ptr<registry_entry> user_client;
    };

    hid_hardware(std::uint64_t id, std::weak_ptr<registry_entry> entry) : id_(id), entry_(std::move(entry)) {}
    std::vector<std::shared_ptr<hid_client>> live_clients() const;
    // The seizing client's token, 0 when none (under mutex_).
    std::uint64_t seizer_locked() const;
    // Brings each user-client entry's DebugState up to date (under open_close_mutex_).
    void publish_client_states();

    std::uint64_t id_;
    std::weak_ptr<registry_entry> entry_;
    // Serializes opens and closes with the registry changes they make, so that the
    // user-client entries always match the open set; taken before mutex_.
    std::mutex open_close_mutex_;
    mutable std::mutex mutex_;
    std::vector<std::weak_ptr<hid_client>> clients_;
    std::vector<opener> open_set_;
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
