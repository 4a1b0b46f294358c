// Tests of rig::owning_mutex: lost updates between threads, locks held past unlock(), waits that release the lock, the mutex-first layout.
#include "utility/owning_mutex.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

namespace {

struct record
{
    int counter = 0;
    std::vector<int> order;
};

TEST(owning_mutex, keeps_the_mutex_first_so_callbacks_can_lock_it_through_the_context)
{
    rig::owning_mutex<record, std::mutex> guarded;
    void* context = &guarded;
    auto* as_mutex = static_cast<std::mutex*>(context);
    ASSERT_TRUE(as_mutex->try_lock());
    // While the context's mutex is held, the accessor cannot get in.
    std::thread other([&] { guarded.lock()->counter = 42; });
    as_mutex->unlock();
    other.join();
    EXPECT_EQ(guarded.lock()->counter, 42);
}

TEST(owning_mutex, serialises_two_threads_changing_the_value)
{
    rig::owning_mutex<record> guarded;
    auto const work = [&](int id) {
        for (int i = 0; i < 10000; ++i)
        {
            auto locked = guarded.lock();
            ++locked->counter;
            locked->order.push_back(id);
        }
    };
    std::thread a(work, 1);
    std::thread b(work, 2);
    a.join();
    b.join();
    auto const locked = guarded.lock();
    EXPECT_EQ(locked->counter, 20000);
    EXPECT_EQ(locked->order.size(), 20000u);
}

TEST(owning_mutex, constructs_the_value_in_place_and_unlocks_early)
{
    rig::owning_mutex<std::vector<int>> guarded(std::size_t{3}, 9);
    auto locked = guarded.lock();
    EXPECT_EQ(*locked, (std::vector<int>{9, 9, 9}));
    locked.unlock();
    // Would deadlock if the first lock were still held.
    rig::owning_mutex<std::vector<int>> const& as_const = guarded;
    EXPECT_EQ(as_const.lock()->size(), 3u);
}

// A waiter holds the lock except while it waits: the other thread can change
// the value only then, and the waiter sees the change once woken.
TEST(owning_mutex, a_wait_releases_the_lock_until_the_value_is_ready)
{
    rig::owning_mutex<record> guarded;
    std::condition_variable changed;
    std::thread changer([&] {
        for (int i = 0; i < 3; ++i)
        {
            {
                auto locked = guarded.lock();
                ++locked->counter;
            }
            changed.notify_one();
        }
    });
    auto locked = guarded.lock();
    locked.wait(changed, [&] { return locked->counter == 3; });
    EXPECT_EQ(locked->counter, 3);
    // Nothing changes it again: the deadline comes, and the value is still the one seen.
    EXPECT_FALSE(locked.wait_until(changed, std::chrono::steady_clock::now() + std::chrono::milliseconds(5),
                                   [&] { return locked->counter == 4; }));
    locked.unlock();
    changer.join();
}

} // namespace
