// queue_reader_baseline: the smallest hand-written HID queue reader, the yardstick of the queued stream's benchmarks.
#pragma once

// What a C HID library does on macOS to read a device without losing reports:
// the device is scheduled once on a run loop that a thread of its own runs for
// ever, its report callback copies each report into a ring under a mutex and
// signals a condition variable, and a reader thread wakes and takes every
// report queued (a batch when several came), or the oldest one alone when it
// reads a report per call. Nothing more: no executor, no
// cancellation, no completion tokens. A queued hid_stream does the same work
// and more, so its figures are read as ratios to this one's, measured in the
// same run on the same simulated machine.
#include "device/apple/hid_report_batch.hpp"
#include "io_kit/io_hid_device.hpp"

#include <CoreFoundation/CFRunLoop.h>
#include <IOKit/hid/IOHIDDevice.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <future>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

namespace plinth::bench {

class queue_reader
{
public:
    // Seizes `device` and keeps its reports from now on, up to `capacity` of up
    // to `max_report_size` bytes each; a report that finds the ring full is
    // dropped and counted, as the kernel's own queue does.
    queue_reader(apple::io_kit::io_hid_device device, std::size_t capacity, std::size_t max_report_size)
        : device_(std::move(device)),
          slot_size_(max_report_size),
          bytes_(capacity * max_report_size),
          report_ids_(capacity),
          lengths_(capacity),
          callback_buffer_(max_report_size)
    {
        device_.open(kIOHIDOptionsTypeSeizeDevice);
        device_.register_input_report_callback(callback_buffer_, on_report, this);
        std::promise<void> scheduled;
        run_loop_thread_ = std::thread([this, &scheduled] {
            auto* const loop = CFRunLoopGetCurrent();
            device_.schedule_with_run_loop(loop, kCFRunLoopDefaultMode);
            loop_.store(loop);
            scheduled.set_value();
            // Long runs, as a reader that lives as long as its device makes: each
            // one starts afresh, which is no part of a report's path.
            while (!stopping_.load())
                CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false);
            device_.unschedule_from_run_loop(loop, kCFRunLoopDefaultMode);
            ended_.store(true);
        });
        scheduled.get_future().wait();
    }

    queue_reader(queue_reader const&) = delete;
    queue_reader& operator=(queue_reader const&) = delete;

    ~queue_reader()
    {
        // A stop acts only on a loop that runs: one that falls between two runs is
        // lost, so it is repeated until the thread has seen the flag.
        stopping_.store(true);
        while (!ended_.load())
        {
            CFRunLoopStop(loop_.load());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        run_loop_thread_.join();
        device_.register_input_report_callback({}, nullptr, nullptr);
        device_.close(kIOHIDOptionsTypeSeizeDevice);
    }

    // Waits for a report, then moves every queued one (up to the batch's room)
    // into `batch`, oldest first; returns how many, 0 once close_reads() is called.
    std::size_t read_batch(apple::hid_report_batch& batch)
    {
        batch.clear();
        std::unique_lock lock(mutex_);
        ready_.wait(lock, [this] { return count_ > 0 || closed_; });
        for (; count_ > 0 && !batch.full(); --count_, head_ = (head_ + 1) % lengths_.size())
            batch.push_back(report_ids_[head_], {bytes_.data() + head_ * slot_size_, lengths_[head_]});
        return batch.size();
    }

    // Waits for a report, then moves the oldest one into `bytes` (cut to its
    // size) and its ID into `report_id`, as a C HID library's read call hands
    // over one report; returns its length, 0 once close_reads() is called.
    std::size_t read_one(std::span<std::uint8_t> bytes, std::uint8_t& report_id)
    {
        std::unique_lock lock(mutex_);
        ready_.wait(lock, [this] { return count_ > 0 || closed_; });
        if (count_ == 0)
            return 0;
        auto const length = std::min(lengths_[head_], bytes.size());
        std::memcpy(bytes.data(), bytes_.data() + head_ * slot_size_, length);
        report_id = report_ids_[head_];
        --count_;
        head_ = (head_ + 1) % lengths_.size();
        return length;
    }

    // Ends the reads: a waiting one, and every later one, returns 0.
    void close_reads()
    {
        {
            std::lock_guard const lock(mutex_);
            closed_ = true;
        }
        ready_.notify_all();
    }

    std::uint64_t dropped() const
    {
        std::lock_guard const lock(mutex_);
        return dropped_;
    }

private:
    static void on_report(void* context, IOReturn result, void*, IOHIDReportType, std::uint32_t report_id,
                          std::uint8_t* report, CFIndex length)
    {
        if (result != kIOReturnSuccess)
            return;
        auto& self = *static_cast<queue_reader*>(context);
        auto const size = std::min(static_cast<std::size_t>(std::max<CFIndex>(length, 0)), self.slot_size_);
        {
            std::lock_guard const lock(self.mutex_);
            auto const capacity = self.lengths_.size();
            if (self.count_ == capacity)
            {
                ++self.dropped_;
                return;
            }
            auto const tail = (self.head_ + self.count_) % capacity;
            std::memcpy(self.bytes_.data() + tail * self.slot_size_, report, size);
            self.report_ids_[tail] = static_cast<std::uint8_t>(report_id);
            self.lengths_[tail] = size;
            ++self.count_;
        }
        self.ready_.notify_one();
    }

    apple::io_kit::io_hid_device device_;
    std::size_t slot_size_;
    mutable std::mutex mutex_;
    std::condition_variable ready_;
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t> report_ids_;
    std::vector<std::size_t> lengths_;
    std::size_t head_ = 0;
    std::size_t count_ = 0;
    std::uint64_t dropped_ = 0;
    bool closed_ = false;
    std::vector<std::uint8_t> callback_buffer_;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> ended_{false};
    std::atomic<CFRunLoopRef> loop_{nullptr};
    std::thread run_loop_thread_;
};

} // namespace plinth::bench
