// The IOHIDQueueRef object: its value queue on the device's client, and the source that runs its callback.
#include "sim/detail/hid/hid_queue_object.hpp"

#include "sim/detail/cf/cf_type_registry.hpp"
#include "sim/detail/hid/hid_client.hpp"
#include "sim/detail/hid/hid_device_elements.hpp"
#include "sim/detail/hid/hid_device_object.hpp"
#include "sim/detail/run_loop/run_loop.hpp"
#include "sim/detail/run_loop/run_loop_source.hpp"

#include <IOKit/hid/IOHIDQueue.h>

#include <sstream>

namespace plinth::sim::detail {
namespace {

hid_device_object& device_object(IOHIDDeviceRef device)
{
    return *static_cast<hid_device_object*>(cf_object::from_ref(device));
}

} // namespace

hid_queue_object::hid_queue_object(IOHIDDeviceRef device, std::size_t depth, bool enqueue_all)
    : cf_object(class_type_id(), false), device_(device)
{
    CFRetain(device_);
    // The source's info is its share of the callback slot, let go of when the
    // source goes.
    slot_->queue = cf_ref<IOHIDQueueRef>(this);
    CFRunLoopSourceContext context{};
    context.info = new std::shared_ptr<callback_slot>(slot_);
    context.release = [](void const* info) { delete static_cast<std::shared_ptr<callback_slot> const*>(info); };
    context.perform = perform;
    source_ = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
    // Announced from inside the client's report, under its lock: the queue's
    // destructor detaches from the client before the source goes, so the source
    // is still there whenever this runs.
    auto* const source = static_cast<run_loop_source*>(cf_object::from_ref(source_));
    queue_ =
        std::make_shared<hid_value_queue>(depth, enqueue_all, [source] { run_loop::signal_and_wake_serving(source); });
    device_object(device_).client().attach_queue(queue_);
}

hid_queue_object::~hid_queue_object()
{
    {
        std::lock_guard const lock(slot_->mutex);
        slot_->callback = nullptr;
        slot_->queue = nullptr;
    }
    queue_->stop();
    device_object(device_).client().detach_queue(queue_.get());
    CFRunLoopSourceInvalidate(source_);
    CFRelease(source_);
    CFRelease(device_);
}

CFTypeID hid_queue_object::class_type_id()
{
    static CFTypeID const id = cf_type_registry::id_for("IOHIDQueue");
    return id;
}

std::string hid_queue_object::description() const
{
    std::ostringstream out;
    out << description_head() << "{device = " << device_ << ", depth = " << queue_->depth() << "}";
    return out.str();
}

void hid_queue_object::schedule(CFRunLoopRef loop, CFStringRef mode)
{
    CFRunLoopAddSource(loop, source_, mode);
}

void hid_queue_object::unschedule(CFRunLoopRef loop, CFStringRef mode)
{
    CFRunLoopRemoveSource(loop, source_, mode);
}

void hid_queue_object::register_callback(IOHIDCallback callback, void* context)
{
    std::lock_guard const lock(slot_->mutex);
    slot_->callback = callback;
    slot_->context = context;
}

IOHIDValueRef hid_queue_object::copy_next()
{
    auto const entry = queue_->take();
    return entry ? value_of(*entry) : nullptr;
}

IOHIDValueRef hid_queue_object::copy_next_within(std::chrono::nanoseconds limit)
{
    auto const entry = queue_->take_within(limit);
    return entry ? value_of(*entry) : nullptr;
}

IOHIDValueRef hid_queue_object::value_of(hid_value_queue::entry const& entry) const
{
    auto const* const elements = device_object(device_).elements();
    return elements == nullptr ? nullptr : elements->make_value(entry.cookie, entry.bytes, entry.timestamp);
}

void hid_queue_object::perform(void* info)
{
    auto& slot = **static_cast<std::shared_ptr<callback_slot>*>(info);
    IOHIDCallback callback = nullptr;
    void* context = nullptr;
    IOHIDQueueRef queue = nullptr;
    {
        std::lock_guard const lock(slot.mutex);
        callback = slot.callback;
        context = slot.context;
        queue = slot.queue;
    }
    if (callback != nullptr && queue != nullptr)
        callback(context, kIOReturnSuccess, queue);
}

} // namespace plinth::sim::detail
