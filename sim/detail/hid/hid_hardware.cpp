// The device end of a HID device: its clients, seizing, reports set and sent, removal.
#include "sim/detail/hid/hid_hardware.hpp"

#include "sim/detail/hid/hid_client.hpp"
#include "sim/detail/hid/hid_report_requests.hpp"
#include "sim/detail/registry/registry_entry.hpp"
#include "sim/detail/registry/registry_model.hpp"
#include "sim/detail/registry/registry_observer.hpp"

#include <IOKit/hid/IOHIDKeys.h>

#include <boost/container/small_vector.hpp>

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

namespace plinth::sim::detail {
namespace {

// Every HID device a client has made, by registry entry ID, with the entry it
// belongs to: an entry that left and came back is a new device.
struct hardware_table final : registry_observer
{
    struct slot
    {
        std::weak_ptr<registry_entry> entry;
        std::shared_ptr<hid_hardware> hardware;
    };

    std::mutex mutex;
    std::map<std::uint64_t, slot> by_id;

    void entry_published(std::shared_ptr<registry_entry> const&) override {}

    void entry_terminated(std::shared_ptr<registry_entry> const& entry) override
    {
        std::shared_ptr<hid_hardware> gone;
        {
            std::lock_guard const lock(mutex);
            auto const found = by_id.find(entry->id());
            if (found == by_id.end() || found->second.entry.lock() != entry)
                return;
            gone = std::move(found->second.hardware);
            by_id.erase(found);
        }
        gone->remove();
    }

    static hardware_table& instance()
    {
        // Never destroyed, as the registry that calls it is not.
        static auto* const table = [] {
            auto* made = new hardware_table;
            registry_model::instance().add_observer(std::shared_ptr<registry_observer>(made, [](auto*) {}));
            return made;
        }();
        return *table;
    }
};

// What IOHIDLibUserClient tells of its client in its "DebugState" property.
value debug_state(IOOptionBits options, bool silenced, std::optional<hid_client::queue_state> const& queue)
{
    // One entry per kernel queue of the client; the report queue is the only one
    // the simulation makes. Only what stays true between refreshes is shown: the
    // queue's size, and its drops, which refresh the state as they happen.
    property::array queues;
    if (queue)
        queues.emplace_back(dictionary{
            {"QueueSize", property::make_number(static_cast<std::int64_t>(queue->capacity))},
            {"EnqueueErrorCount", property::make_number(static_cast<std::int64_t>(queue->drops))},
        });
    return dictionary{
        {"ClientOpened", true},
        // Silenced: another client holds the device seized.
        {"ClientSeized", silenced},
        // The options the client opened with; bit 0 is kIOHIDOptionsTypeSeizeDevice.
        {"ClientOptions", property::make_number(options)},
        {"EventQueueMap", std::move(queues)},
    };
}

} // namespace

std::uint64_t hid_hardware::new_client_token()
{
    static std::atomic<std::uint64_t> next{1};
    return next++;
}

std::shared_ptr<hid_hardware> hid_hardware::of(std::shared_ptr<registry_entry> const& entry)
{
    auto& table = hardware_table::instance();
    std::lock_guard const lock(table.mutex);
    auto& slot = table.by_id[entry->id()];
    if (slot.hardware == nullptr || slot.entry.lock() != entry)
        slot = {entry, std::shared_ptr<hid_hardware>(new hid_hardware(entry->id(), entry))};
    return slot.hardware;
}

std::shared_ptr<hid_hardware> hid_hardware::find(std::uint64_t id)
{
    auto& table = hardware_table::instance();
    std::lock_guard const lock(table.mutex);
    auto const found = table.by_id.find(id);
    if (found == table.by_id.end() || found->second.entry.expired())
        return nullptr;
    return found->second.hardware;
}

void hid_hardware::add_client(std::shared_ptr<hid_client> const& client)
{
    std::lock_guard const lock(mutex_);
    std::erase_if(clients_, [](auto const& held) { return held.expired(); });
    clients_.push_back(client);
}

std::vector<std::shared_ptr<hid_client>> hid_hardware::live_clients() const
{
    std::vector<std::shared_ptr<hid_client>> live;
    std::lock_guard const lock(mutex_);
    for (auto const& held : clients_)
        if (auto client = held.lock())
            live.push_back(std::move(client));
    return live;
}

std::uint64_t hid_hardware::seizer_locked() const
{
    auto const seizer = std::ranges::find_if(open_set_, [](opener const& o) { return o.seizing; });
    return seizer == open_set_.end() ? 0 : seizer->client;
}

IOReturn hid_hardware::open(std::uint64_t client, IOOptionBits options, std::string const& creator)
{
    std::lock_guard const serial(open_close_mutex_);
    IOReturn result = kIOReturnSuccess;
    std::optional<entry_spec> user_client;
    {
        std::lock_guard const lock(mutex_);
        if (removed_)
            return kIOReturnOffline;
        auto const seizer = seizer_locked();
        // A seize or an open while another client holds the device seized fails,
        // but the kernel still adds the client to the open set: user space counts it
        // as open, and it gets no reports until the seizer closes. The first seizer
        // keeps the device.
        bool const refused = seizer != 0 && seizer != client;
        auto known = std::ranges::find(open_set_, client, &opener::client);
        if (known == open_set_.end())
        {
            open_set_.push_back({client, options, false, nullptr});
            known = std::prev(open_set_.end());
            // Each client that opens the device is an IOHIDLibUserClient below it,
            // which names the process that made it.
            user_client = entry_spec(
                "IOHIDLibUserClient", {}, {},
                {{"IOUserClientCreator", creator}, {"DebugState", debug_state(options, refused, std::nullopt)}});
        }
        else
            known->options |= options;
        // A seize while others have the device open succeeds: they stop receiving
        // reports until the seizer closes.
        if (!refused && (options & kIOHIDOptionsTypeSeizeDevice) != 0)
            known->seizing = true;
        result = refused ? kIOReturnExclusiveAccess : kIOReturnSuccess;
    }
    if (user_client)
    {
        // The device may have left meanwhile: its user clients went with it.
        auto const device = entry_.lock();
        auto made = device ? registry_model::instance().add_child(device, *user_client, "IOService") : nullptr;
        std::lock_guard const lock(mutex_);
        if (auto const known = std::ranges::find(open_set_, client, &opener::client); known != open_set_.end())
            known->user_client = std::move(made);
    }
    publish_client_states();
    return result;
}

IOReturn hid_hardware::close(std::uint64_t client)
{
    std::lock_guard const serial(open_close_mutex_);
    std::shared_ptr<registry_entry> user_client;
    {
        std::lock_guard const lock(mutex_);
        auto const known = std::ranges::find(open_set_, client, &opener::client);
        if (known == open_set_.end())
            return kIOReturnNotOpen;
        user_client = std::move(known->user_client);
        open_set_.erase(known);
    }
    // A closing client's user client leaves the registry; when a seizer closes,
    // the others it silenced receive reports again.
    if (user_client)
        registry_model::instance().remove_entry(user_client);
    publish_client_states();
    return kIOReturnSuccess;
}

void hid_hardware::refresh_client_states()
{
    std::lock_guard const serial(open_close_mutex_);
    publish_client_states();
}

void hid_hardware::publish_client_states()
{
    // The queues are read before the device's lock is taken: a client never calls
    // the device while it holds its own.
    std::vector<std::pair<std::uint64_t, std::optional<hid_client::queue_state>>> queues;
    for (auto const& client : live_clients())
        queues.emplace_back(client->token(), client->report_queue_state());
    auto const queue_of = [&](std::uint64_t client) {
        auto const found = std::ranges::find(queues, client, &decltype(queues)::value_type::first);
        return found == queues.end() ? std::nullopt : found->second;
    };
    std::vector<std::pair<std::shared_ptr<registry_entry>, value>> states;
    {
        std::lock_guard const lock(mutex_);
        auto const seizer = seizer_locked();
        for (auto const& o : open_set_)
            if (o.user_client)
                states.emplace_back(o.user_client,
                                    debug_state(o.options, seizer != 0 && seizer != o.client, queue_of(o.client)));
    }
    for (auto& [entry, state] : states)
        registry_model::instance().set_property(*entry, "DebugState", std::move(state));
}

bool hid_hardware::seized_by_other(std::uint64_t asking) const
{
    std::lock_guard const lock(mutex_);
    auto const seizer = seizer_locked();
    return seizer != 0 && seizer != asking;
}

bool hid_hardware::is_removed() const
{
    std::lock_guard const lock(mutex_);
    return removed_;
}

std::optional<std::uint64_t> hid_hardware::device_number(std::string_view key) const
{
    auto const device = entry_.lock();
    if (!device)
        return std::nullopt;
    return registry_model::instance().read([&](registry_model const&) -> std::optional<std::uint64_t> {
        auto const* const found = device->find_property(key);
        if (found == nullptr)
            return std::nullopt;
        auto const* const n = std::get_if<property::number>(&found->content);
        if (n == nullptr)
            return std::nullopt;
        return n->as_unsigned();
    });
}

void hid_hardware::post_input(std::uint32_t report_id, std::span<std::uint8_t const> bytes)
{
    std::uint64_t seizer = 0;
    // The clients to give the report to fit inline, so that the report path
    // allocates nothing here.
    boost::container::small_vector<std::shared_ptr<hid_client>, 4> clients;
    {
        std::lock_guard const lock(mutex_);
        if (removed_)
            return;
        // A device asked for an input report answers with its present state, which
        // is what it last reported.
        inputs_[report_id].assign(bytes.begin(), bytes.end());
        seizer = seizer_locked();
        for (auto const& held : clients_)
            if (auto client = held.lock())
                clients.push_back(std::move(client));
    }
    bool dropped = false;
    for (auto const& client : clients)
    {
        // Every client that has the device open shared gets every report; a seized
        // device reports to its seizer alone: the others' queues are disabled, so
        // they queue nothing and count no drop until the seizer closes.
        if (seizer != 0 && client->token() != seizer)
            continue;
        if (!client->queue_report(report_id, bytes))
        {
            std::lock_guard const lock(mutex_);
            ++dropped_;
            dropped = true;
        }
    }
    // A drop is what changes a queue's "EnqueueErrorCount"; the state is refreshed
    // then rather than on every report.
    if (dropped)
        refresh_client_states();
}

std::size_t hid_hardware::dropped_input_reports() const
{
    std::lock_guard const lock(mutex_);
    return dropped_;
}

std::size_t hid_hardware::schedulings() const
{
    std::size_t total = 0;
    for (auto const& client : live_clients())
        total += client->schedulings();
    return total;
}

std::size_t hid_hardware::readers() const
{
    auto const clients = live_clients();
    return static_cast<std::size_t>(
        std::ranges::count_if(clients, [](auto const& client) { return client->listens(); }));
}

void hid_hardware::record_output(IOHIDReportType type, std::uint32_t report_id, std::vector<std::uint8_t> bytes)
{
    std::lock_guard const lock(mutex_);
    sent_.push_back({type, report_id, std::move(bytes)});
}

std::vector<hid_hardware::sent_report> hid_hardware::sent() const
{
    std::lock_guard const lock(mutex_);
    return sent_;
}

void hid_hardware::set_feature(std::uint32_t report_id, std::vector<std::uint8_t> bytes)
{
    std::lock_guard const lock(mutex_);
    features_[report_id] = std::move(bytes);
}

bool hid_hardware::feature(std::uint32_t report_id, std::vector<std::uint8_t>& bytes) const
{
    std::lock_guard const lock(mutex_);
    auto const found = features_.find(report_id);
    if (found == features_.end())
        return false;
    bytes = found->second;
    return true;
}

void hid_hardware::set_input(std::uint32_t report_id, std::vector<std::uint8_t> bytes)
{
    std::lock_guard const lock(mutex_);
    inputs_[report_id] = std::move(bytes);
}

bool hid_hardware::input(std::uint32_t report_id, std::vector<std::uint8_t>& bytes) const
{
    std::lock_guard const lock(mutex_);
    auto const found = inputs_.find(report_id);
    if (found == inputs_.end())
        return false;
    bytes = found->second;
    return true;
}

bool hid_hardware::current_report(IOHIDReportType type, std::uint32_t report_id, std::vector<std::uint8_t>& bytes) const
{
    // A device has no output reports to give.
    switch (type)
    {
    case kIOHIDReportTypeFeature: return feature(report_id, bytes);
    case kIOHIDReportTypeInput: return input(report_id, bytes);
    default: return false;
    }
}

void hid_hardware::set_answer_delay(std::optional<clock::duration> delay)
{
    {
        std::lock_guard const lock(mutex_);
        answer_delay_ = delay;
    }
    answers_changed_.notify_all();
    for (auto const& client : live_clients())
        client->requests().answers_changed();
}

std::optional<hid_hardware::clock::time_point> hid_hardware::answer_time(clock::time_point submitted) const
{
    std::lock_guard const lock(mutex_);
    if (!answer_delay_)
        return std::nullopt;
    return submitted + *answer_delay_;
}

bool hid_hardware::wait_for_answer(clock::time_point submitted) const
{
    std::unique_lock lock(mutex_);
    for (;;)
    {
        if (removed_)
            return false;
        if (!answer_delay_)
            answers_changed_.wait(lock);
        else if (auto const due = submitted + *answer_delay_; clock::now() < due)
            answers_changed_.wait_until(lock, due);
        else
            return true;
    }
}

void hid_hardware::remove()
{
    {
        std::lock_guard const lock(mutex_);
        removed_ = true;
    }
    answers_changed_.notify_all();
    for (auto const& client : live_clients())
        client->removed();
}

void hid_hardware::set_delivery_observer(std::function<void()> observer)
{
    auto shared = observer ? std::make_shared<std::function<void()> const>(std::move(observer)) : nullptr;
    std::lock_guard const lock(mutex_);
    delivery_observer_ = std::move(shared);
}

void hid_hardware::report_delivery() const
{
    std::shared_ptr<std::function<void()> const> observer;
    {
        std::lock_guard const lock(mutex_);
        observer = delivery_observer_;
    }
    if (observer)
        (*observer)();
}

} // namespace plinth::sim::detail
