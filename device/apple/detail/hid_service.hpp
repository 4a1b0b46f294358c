// hid_service: the execution-context service that owns every HID stream's record and their run-loop thread.
#pragma once

#include "device/apple/detail/hid_blocking_wait.hpp"
#include "device/apple/detail/hid_report_ring.hpp"
#include "device/apple/detail/hid_run_loop_token.hpp"
#include "device/apple/hid_report_batch.hpp"
#include "device/apple/run_loop_service.hpp"
#include "io_kit/io_hid_device.hpp"
#include "utility/oneshot_function.hpp"
#include "utility/owning_mutex.hpp"

#include <boost/asio/buffer.hpp>
#include <boost/asio/execution_context.hpp>
#include <boost/system/error_code.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <list>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace plinth::apple::detail {

// The service, one per execution context, that owns the state of every HID stream
// made on that context and the run-loop thread their IOKit callbacks arrive on.
// Its list of records has no lock: streams of one context must not be created or
// destroyed concurrently, nor while the context shuts down.
class hid_service : public run_loop_service
{
public:
    struct data;
    // What IOKit's callbacks receive as their context: the record's address.
    using record = rig::owning_mutex<data, std::mutex>;

    // Where what may run after its stream is gone (a cancellation, a posted
    // release, an asynchronous read completing) finds the stream's record:
    // under `mutex`, which erase_data() takes to clear `current` before the
    // record goes, so that the record cannot go while such work is on it. A
    // weak pointer alone would tell only that the record was there an instant
    // ago.
    struct lifeline
    {
        std::mutex mutex;
        record* current = nullptr;

        // Calls `work` with the record's data, the record locked, and returns
        // true; false when the stream is gone. `work` must not destroy the
        // stream: what may (a caller's handler) is called once this returns.
        template <typename Work>
        static bool with_record(std::weak_ptr<lifeline> const& life, Work&& work);
    };

    // One stream's state; everything in it is touched only under its record's mutex.
    // The steps on its pending read are those of hid_pending_read
    // (hid_pending_read.hpp) and the three member functions below.
    struct data
    {
        // Where a read puts what it takes: one report's ID and bytes, or, for a
        // batch read, whole reports into the caller's batch.
        struct read_target
        {
            std::uint8_t* report_id = nullptr;
            boost::asio::mutable_buffer buffer;
            hid_report_batch* batch = nullptr;
        };

        struct read_request
        {
            read_target target;
            rig::oneshot_function<void(boost::system::error_code const&, std::size_t)> handler;
        };

        // A report no read has taken yet: one an asynchronous read gave back when
        // it was cancelled after the report had filled it, one that came for a read
        // withdrawn meanwhile, or one that came while only a report request kept
        // the device scheduled. The next read takes the oldest before any other.
        struct unread_report
        {
            std::uint8_t report_id = 0;
            std::vector<std::uint8_t> bytes;
        };

        // A report request (a write, a feature report sent or asked for) that
        // IOKit has and will call back for: its callback's context. It stays until
        // that callback, even once its caller has given up (a timeout, a
        // cancellation, a close), so that IOKit's late call finds it.
        struct report_request
        {
            using completion = rig::oneshot_function<void(boost::system::error_code const&, std::size_t)>;

            rig::owning_mutex<data, std::mutex>* owner = nullptr;
            // Who made it: an asynchronous operation (which cancel() reaches), or a
            // blocking caller.
            void const* maker = nullptr;
            bool asynchronous = false;
            // The bytes IOKit sends, or receives into: the library's own, so that a
            // late completion never touches a caller's buffer.
            std::vector<std::uint8_t> bytes;
            // Where a received report goes while its maker still waits.
            boost::asio::mutable_buffer receive;
            bool get = false;
            // Empty once the maker has been completed otherwise.
            completion handler;
        };

        // A blocking reader of a queued stream while it waits on the record's own
        // mutex (hid_queued_read.hpp).
        struct queued_reader
        {
            // Given by cancel(), for its posted release to find the reader by.
            std::uint64_t number = 0;
            // cancel() was called: it takes no report, and ends with
            // operation_aborted once released, or at its deadline.
            bool cancelled = false;
            // It ends with operation_aborted now: cancel()'s posted call has run,
            // the context shuts down, or the stream goes.
            bool released = false;
        };

        // Reports kept for later reads, at most: more are dropped, the newest first,
        // as the device's own queue does when nobody reads.
        static constexpr std::size_t unread_limit = 64;

        explicit data(io_kit::io_hid_device d);

        // Takes back the pending read before any report filled it (a timeout, a
        // cancellation through its handler's slot). A report the run-loop thread
        // had already taken from the device for it then becomes the unread one.
        void withdraw_read() noexcept;
        // Keeps a report that came from the device and no read took, after the
        // others kept, cut to the size of the device's report buffer; false when
        // unread_limit are kept already (it is dropped).
        bool keep_unread(std::uint8_t report_id, std::uint8_t const* report, std::size_t length);
        // Whether a removal is waiting for the next read (see removal_unread); if
        // so, takes it and closes the stream.
        bool take_removal() noexcept;

        // Destroyed in reverse: the pending handler (uncalled), the buffer, the
        // request, read then open scheduling (unscheduling each), the requests IOKit
        // has (no longer reachable once nothing schedules the device), the device.
        // Nothing closes it.
        io_kit::io_hid_device device;
        std::list<report_request> requests;
        std::optional<hid_run_loop_token> open_token;
        // The device's scheduling in the read mode, held while a read is pending
        // and while IOKit has report requests of this stream, whose callbacks come
        // through the same run loop as the reports. One scheduling shared by both:
        // IOKit keeps one per loop and mode, and the first unscheduling ends it.
        std::shared_ptr<hid_run_loop_token> read_token;
        std::shared_ptr<hid_run_loop_token> request_token;
        // A queued stream's reports, and its scheduling in the read mode from
        // open to close, which every read and request shares. The ring stays
        // after close, with its drop count, until the next open makes a new one.
        std::optional<hid_report_ring> queue;
        std::shared_ptr<hid_run_loop_token> queue_token;
        std::vector<std::uint8_t> report_buffer;
        std::optional<read_request> pending_read;
        bool opened = false;
        // Who started pending_read: an asynchronous read's operation, or a
        // blocking reader's ticket. How a cancellation through a handler's slot,
        // or a timed read's deadline, knows that its read is still the pending one
        // and not a later read that replaced it.
        void const* read_owner = nullptr;
        std::deque<unread_report> unread;
        bool read_withdrawn = false;
        // The device's removal came in the instant its read was withdrawn or
        // cancelled, with no read left to abort: the next read is aborted with it
        // and closes the stream, as the removal would have done.
        bool removal_unread = false;
        // The blocking readers of a queued stream inside their wait, one that a
        // later read replaced included; the callbacks wake them through
        // queued_ready. Readers overlap only when a caller breaks the
        // one-read-at-a-time rule, so this holds one, once grown to it.
        std::vector<queued_reader*> queued_readers;
        std::uint64_t queued_readers_issued = 0;
        std::condition_variable queued_ready;
        // Where the stream's other blocking reads wait for their handlers.
        std::shared_ptr<hid_blocking_wait> blocking_reads = std::make_shared<hid_blocking_wait>();
        // The record's lifeline (see lifeline), shared with what may outlive it.
        std::shared_ptr<lifeline> alive = std::make_shared<lifeline>();
    };

    using iterator = std::list<record>::iterator;

    // Keyed by its type, as Asio keys its own services: use_service finds the
    // service through key_type (a base of the service, here itself) and typeid, so
    // no static id, and no type of Asio's internals, is needed.
    using key_type = hid_service;

    explicit hid_service(boost::asio::execution_context& owner);
    ~hid_service() override;

    // A new record for `device`, at the front of the list.
    iterator make_data(io_kit::io_hid_device device);
    void erase_data(iterator it) noexcept;

    // Completes every pending read with operation_aborted on the calling thread,
    // destroys the handlers of the report requests uncalled, then stops the run
    // loop. Devices stay open and scheduled.
    void shutdown() noexcept override;

    // True from the start of shutdown(): completions must then run on the calling
    // thread, since the context's executors will run nothing more.
    bool is_shutting_down() const noexcept;

private:
    std::list<record> streams;
    std::atomic<bool> shutting_down{false};
};

template <typename Work>
bool hid_service::lifeline::with_record(std::weak_ptr<lifeline> const& life, Work&& work)
{
    auto const line = life.lock();
    if (!line)
        return false;
    std::lock_guard const guard(line->mutex);
    if (line->current == nullptr)
        return false;
    auto locked = line->current->lock();
    std::forward<Work>(work)(*locked);
    return true;
}

} // namespace plinth::apple::detail
