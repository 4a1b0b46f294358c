// One IOHIDDeviceRef's client of a HID device: open, callbacks, its report queue, deliveries through run loops.
#include "sim/detail/hid/hid_client.hpp"

#include "sim/detail/hid/hid_device_elements.hpp"
#include "sim/detail/hid/hid_device_object.hpp"
#include "sim/detail/hid/hid_hardware.hpp"
#include "sim/detail/hid/user_client_creator.hpp"
#include "sim/detail/hid/hid_report_requests.hpp"
#include "sim/detail/run_loop/run_loop.hpp"
#include "sim/detail/run_loop/run_loop_source.hpp"

#include <IOKit/hid/IOHIDKeys.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace plinth::sim::detail {
namespace {

using client_handle = std::shared_ptr<hid_client>;

bool same_mode(CFStringRef a, CFStringRef b)
{
    return CFEqual(a, b) != 0;
}

} // namespace

std::shared_ptr<hid_client> hid_client::create(std::shared_ptr<hid_hardware> hardware, IOHIDDeviceRef device)
{
    std::shared_ptr<hid_client> client(new hid_client);
    client->hardware_ = std::move(hardware);
    client->device_ = device;
    client->token_ = hid_hardware::new_client_token();
    client->requests_ = hid_report_requests::create(client->hardware_, [weak = std::weak_ptr<hid_client>(client)] {
        if (auto const self = weak.lock())
            self->signal_if_pending();
    });
    CFRunLoopSourceContext context{};
    // The source holds the client while it is in a loop, so that a delivery in
    // flight never outlives it.
    context.info = new client_handle(client);
    context.retain = [](void const* info) -> void const* {
        return new client_handle(*static_cast<client_handle const*>(info));
    };
    context.release = [](void const* info) { delete static_cast<client_handle const*>(info); };
    context.perform = perform;
    client->source_ = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
    delete static_cast<client_handle*>(context.info);
    client->hardware_->add_client(client);
    return client;
}

hid_client::~hid_client() = default;

void hid_client::detach()
{
    std::vector<scheduling> schedulings;
    bool was_open = false;
    {
        std::lock_guard const lock(mutex_);
        // From here on nothing signals the source, which goes below.
        detached_ = true;
        schedulings.swap(schedulings_);
        input_callback_ = nullptr;
        removal_callback_ = nullptr;
        value_callback_ = nullptr;
        value_queues_.clear();
        was_open = std::exchange(open_, false);
        if (queue_)
            queue_->clear();
        values_.clear_queue();
    }
    // Releasing the last reference to an open IOHIDDeviceRef closes it: its user
    // client leaves the device, and a seize it held ends.
    if (was_open)
        hardware_->close(token_);
    CFRunLoopSourceInvalidate(source_);
    for (auto const& s : schedulings)
    {
        CFRelease(s.loop);
        CFRelease(s.mode);
    }
    CFRelease(source_);
}

IOReturn hid_client::open(IOOptionBits options)
{
    auto const result = hardware_->open(token_, options, this_process_creator());
    // Refused for exclusive access or not, the client counts as open: it gets no
    // reports while another client holds the device seized.
    if (result == kIOReturnSuccess || result == kIOReturnExclusiveAccess)
    {
        std::lock_guard const lock(mutex_);
        open_ = true;
    }
    return result;
}

IOReturn hid_client::close()
{
    {
        std::lock_guard const lock(mutex_);
        if (!open_)
            return kIOReturnNotOpen;
        open_ = false;
        if (queue_)
            queue_->clear();
        values_.clear_queue();
    }
    hardware_->close(token_);
    return kIOReturnSuccess;
}

std::size_t hid_client::schedulings() const
{
    std::lock_guard const lock(mutex_);
    return schedulings_.size();
}

bool hid_client::is_open() const
{
    std::lock_guard const lock(mutex_);
    return open_;
}

bool hid_client::listens() const
{
    std::lock_guard const lock(mutex_);
    return open_ && !detached_ && (input_callback_ != nullptr || value_callback_ != nullptr);
}

void hid_client::register_input(std::uint8_t* buffer, CFIndex length, IOHIDReportCallback callback, void* context)
{
    // The queue's size is looked up on the user client, then on the device.
    auto const device_count = hardware_->device_number(kIOHIDMaxReportBufferCountKey);
    auto const device_entry_size = hardware_->device_number(kIOHIDReportBufferEntrySizeKey);
    bool made_queue = false;
    {
        std::lock_guard const lock(mutex_);
        buffer_ = buffer;
        buffer_length_ = length;
        input_callback_ = callback;
        input_context_ = context;
        // Registering a report callback makes the client's kernel queue, once: queue
        // properties set later change nothing.
        if (callback != nullptr && !queue_)
        {
            auto const count = max_report_buffer_count_ ? max_report_buffer_count_ : device_count;
            auto const entry_size = report_buffer_entry_size_ ? report_buffer_entry_size_ : device_entry_size;
            queue_.emplace(hid_report_queue::capacity_for(count.value_or(0), entry_size.value_or(0)));
            made_queue = true;
        }
    }
    if (made_queue)
        hardware_->refresh_client_states();
    signal_if_pending();
}

bool hid_client::set_queue_property(std::string const& key, std::uint64_t number)
{
    std::lock_guard const lock(mutex_);
    if (key == kIOHIDMaxReportBufferCountKey)
        max_report_buffer_count_ = number;
    else if (key == kIOHIDReportBufferEntrySizeKey)
        report_buffer_entry_size_ = number;
    else
        return false;
    return true;
}

std::optional<hid_client::queue_state> hid_client::report_queue_state() const
{
    std::lock_guard const lock(mutex_);
    if (!queue_)
        return std::nullopt;
    return queue_state{queue_->capacity(), queue_->drops()};
}

void hid_client::register_removal(IOHIDCallback callback, void* context)
{
    {
        std::lock_guard const lock(mutex_);
        removal_callback_ = callback;
        removal_context_ = context;
    }
    signal_if_pending();
}

void hid_client::schedule(CFRunLoopRef loop, CFStringRef mode)
{
    {
        std::lock_guard const lock(mutex_);
        auto const known = std::find_if(schedulings_.begin(), schedulings_.end(),
                                        [&](scheduling const& s) { return s.loop == loop && same_mode(s.mode, mode); });
        if (known != schedulings_.end())
            return;
        CFRetain(loop);
        CFRetain(mode);
        schedulings_.push_back({loop, mode});
    }
    CFRunLoopAddSource(loop, source_, mode);
    signal_if_pending();
}

void hid_client::unschedule(CFRunLoopRef loop, CFStringRef mode)
{
    scheduling gone{};
    {
        std::lock_guard const lock(mutex_);
        auto const known = std::find_if(schedulings_.begin(), schedulings_.end(),
                                        [&](scheduling const& s) { return s.loop == loop && same_mode(s.mode, mode); });
        if (known == schedulings_.end())
            return;
        gone = *known;
        schedulings_.erase(known);
    }
    CFRunLoopRemoveSource(gone.loop, source_, gone.mode);
    CFRelease(gone.loop);
    CFRelease(gone.mode);
}

bool hid_client::queue_report(std::uint32_t report_id, std::span<std::uint8_t const> bytes)
{
    bool signal = false;
    bool queued = true;
    bool reached_application = false;
    {
        std::lock_guard const lock(mutex_);
        // The device's elements take their values from every report it sends; the
        // value callback's queue fills only while the client is open with one.
        bool const queueing_values = open_ && value_callback_ != nullptr;
        auto const values_before = values_.queued_count();
        auto const timestamp = hid_element_values::now();
        hid_element_values::input_visitor offer_to_queues;
        if (open_ && !value_queues_.empty())
            offer_to_queues = [&](std::uint32_t cookie, std::span<std::uint8_t const> value, bool wanted) {
                for (auto const& queue : value_queues_)
                    queue->offer(cookie, value, timestamp, wanted);
            };
        signal =
            values_.take_report(kIOHIDReportTypeInput, report_id, bytes, timestamp, queueing_values, offer_to_queues);
        bool const to_values = values_.queued_count() > values_before;
        bool to_reports = false;
        // The report queue fills only while started: the device open and a report
        // callback registered. Otherwise the report goes nowhere and counts as no drop.
        if (open_ && input_callback_ != nullptr && queue_)
        {
            bool const was_empty = queue_->empty();
            queued = queue_->push(report_id, bytes);
            to_reports = queued;
            // The kernel tells the process only when the queue goes from empty to not
            // empty: a report that joins others is taken by the drain already due.
            signal = signal || (queued && was_empty);
        }
        // A report only the value callback takes reaches the application with
        // the last of its values, or now when it changed none that is watched.
        if (!to_reports && to_values)
            values_.mark_report_end();
        reached_application = !to_reports && !to_values && queueing_values;
    }
    if (reached_application)
        hardware_->report_delivery();
    if (signal)
        signal_if_pending();
    return queued;
}

void hid_client::attach_elements(std::shared_ptr<hid_element_layout const> layout)
{
    // The device's present input reports, read before the client's lock is taken.
    std::vector<std::pair<std::uint32_t, std::vector<std::uint8_t>>> present;
    for (auto const& e : layout->elements())
        if (e.what == hid_element_info::kind::report_handler)
            if (std::vector<std::uint8_t> bytes; hardware_->input(e.report_id, bytes))
                present.emplace_back(e.report_id, std::move(bytes));
    std::lock_guard const lock(mutex_);
    values_.attach(std::move(layout));
    for (auto const& [id, bytes] : present)
        values_.take_report(kIOHIDReportTypeInput, id, bytes, hid_element_values::now(), false);
}

hid_element_values::stored hid_client::element_value(std::uint32_t cookie) const
{
    std::lock_guard const lock(mutex_);
    return values_.value(cookie);
}

void hid_client::store_element_value(std::uint32_t cookie, std::span<std::uint8_t const> bytes)
{
    std::lock_guard const lock(mutex_);
    values_.store(cookie, bytes, hid_element_values::now());
}

void hid_client::take_polled_report(IOHIDReportType type, std::uint32_t report_id, std::span<std::uint8_t const> bytes)
{
    std::lock_guard const lock(mutex_);
    values_.take_report(type, report_id, bytes, hid_element_values::now(), false);
}

std::vector<std::uint8_t> hid_client::element_report(IOHIDReportType type, std::uint32_t report_id) const
{
    std::lock_guard const lock(mutex_);
    return values_.build_report(type, report_id);
}

void hid_client::register_value(IOHIDValueCallback callback, void* context)
{
    {
        std::lock_guard const lock(mutex_);
        value_callback_ = callback;
        value_context_ = context;
        if (callback == nullptr)
            values_.clear_queue();
    }
    signal_if_pending();
}

void hid_client::attach_queue(std::shared_ptr<hid_value_queue> queue)
{
    std::lock_guard const lock(mutex_);
    value_queues_.push_back(std::move(queue));
}

// Under the client's lock: once this returns, no report reaches the queue, nor
// the callback it announces values with.
void hid_client::detach_queue(hid_value_queue const* queue)
{
    std::lock_guard const lock(mutex_);
    std::erase_if(value_queues_, [&](auto const& attached) { return attached.get() == queue; });
}

void hid_client::set_value_matching(std::optional<std::vector<std::uint32_t>> cookies)
{
    std::lock_guard const lock(mutex_);
    values_.set_matching(std::move(cookies));
}

void hid_client::removed()
{
    {
        std::lock_guard const lock(mutex_);
        removal_pending_ = true;
        if (queue_)
            queue_->clear();
        values_.clear_queue();
    }
    requests_->abort_all();
    signal_if_pending();
}

void hid_client::signal_if_pending()
{
    // Signalled under the client's lock: a request's timer thread may come here
    // while detach() releases the source, and must find it either still there or
    // marked gone. (The run loops' lock is taken inside; nothing takes the two the
    // other way round.)
    std::lock_guard const lock(mutex_);
    bool const work = (removal_pending_ && removal_callback_ != nullptr) || requests_->has_completed() ||
                      (queue_ && !queue_->empty() && input_callback_ != nullptr && open_) ||
                      (values_.has_queued() && value_callback_ != nullptr && open_);
    if (detached_ || !work)
        return;
    run_loop::signal_and_wake_serving(static_cast<run_loop_source*>(cf_object::from_ref(source_)));
}

void hid_client::perform(void* info)
{
    (*static_cast<client_handle*>(info))->deliver();
}

// One source callout drains everything queued, in order, as on a Mac. Whether a
// callback that unschedules its device there stops the drain is not known, so
// the simulation keeps the cautious reading: once a callback has unscheduled the
// device from the loop and mode that perform it (or closed it), the drain stops,
// and what is left stays queued for a loop that serves the device again.
void hid_client::deliver()
{
    CFRunLoopRef const loop = CFRunLoopGetCurrent();
    CFStringRef const mode = CFRunLoopCopyCurrentMode(loop);
    while (deliver_one() && mode != nullptr && is_scheduled(loop, mode))
    {
    }
    if (mode != nullptr)
        CFRelease(mode);
    signal_if_pending();
}

bool hid_client::is_scheduled(CFRunLoopRef loop, CFStringRef mode) const
{
    std::lock_guard const lock(mutex_);
    // The mode a loop runs is most often the very string the device was scheduled
    // with: every scheduling is compared by address before any by characters, so
    // that a device scheduled in two modes of one loop (a stream's open scheduling
    // and its read mode's) does not compare the other mode's name per report.
    return std::any_of(schedulings_.begin(), schedulings_.end(),
                       [&](scheduling const& s) { return s.loop == loop && s.mode == mode; }) ||
           std::any_of(schedulings_.begin(), schedulings_.end(),
                       [&](scheduling const& s) { return s.loop == loop && same_mode(s.mode, mode); });
}

bool hid_client::deliver_one()
{
    IOHIDCallback removal = nullptr;
    void* removal_context = nullptr;
    IOHIDReportCallback input = nullptr;
    void* input_context = nullptr;
    std::uint8_t* buffer = nullptr;
    std::optional<hid_report_queue::taken> delivered;
    std::optional<hid_report_requests::completion> request;
    IOHIDValueCallback value_callback = nullptr;
    void* value_context = nullptr;
    std::optional<hid_element_values::queued> value;
    bool ends_report = false;
    {
        std::lock_guard const lock(mutex_);
        if (removal_pending_ && removal_callback_ != nullptr)
        {
            removal_pending_ = false;
            removal = removal_callback_;
            removal_context = removal_context_;
        }
        // A request's completion goes through the device's source, the one that
        // carries its input reports, on the loops and modes it is scheduled in.
        else if (auto taken = requests_->take_completed())
            request = std::move(taken);
        else if (queue_ && !queue_->empty() && input_callback_ != nullptr && open_)
        {
            input = input_callback_;
            input_context = input_context_;
            buffer = buffer_;
            // The report is cut to the registered buffer; the callback still learns its size.
            auto const room = buffer_ == nullptr ? 0 : static_cast<std::size_t>(std::max<CFIndex>(buffer_length_, 0));
            delivered = queue_->pop({buffer_, room});
        }
        else if (values_.has_queued() && value_callback_ != nullptr && open_)
        {
            value_callback = value_callback_;
            value_context = value_context_;
            value = values_.take_queued();
            ends_report = value->ends_report;
        }
    }
    if (removal != nullptr)
        removal(removal_context, kIOReturnSuccess, device_);
    else if (request)
    {
        if (request->callback != nullptr)
            request->callback(request->context, request->result, device_, request->type, request->report_id,
                              request->report, request->length);
    }
    else if (input != nullptr)
    {
        hardware_->report_delivery();
        input(input_context, kIOReturnSuccess, device_, kIOHIDReportTypeInput, delivered->report_id, buffer,
              static_cast<CFIndex>(delivered->length));
    }
    else if (value_callback != nullptr)
    {
        if (ends_report)
            hardware_->report_delivery();
        deliver_value(value_callback, value_context, *value);
    }
    else
        return false;
    return true;
}

// The value is made on the delivering thread, as IOHIDLib makes it from the
// kernel's queue entry, and lives as long as the callback holds it.
void hid_client::deliver_value(IOHIDValueCallback callback, void* context, hid_element_values::queued const& queued)
{
    auto* const elements = static_cast<hid_device_object*>(cf_object::from_ref(device_))->elements();
    if (elements == nullptr)
        return;
    IOHIDValueRef const value = elements->make_value(queued.cookie, queued.bytes, queued.timestamp);
    callback(context, kIOReturnSuccess, device_, value);
    CFRelease(value);
}

} // namespace plinth::sim::detail
