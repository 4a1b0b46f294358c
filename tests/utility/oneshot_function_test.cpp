// Tests of rig::oneshot_function: second calls, leaked callables, refused move-only ones, allocator leaks.
#include "utility/oneshot_function.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>

namespace {

// Counts how often it is called; its count lives as long as the callable does.
struct probe
{
    std::shared_ptr<int> calls = std::make_shared<int>(0);
    void operator()(int) { ++*calls; }
};

static_assert(!std::is_copy_constructible_v<rig::oneshot_function<void()>>);
static_assert(std::is_nothrow_move_constructible_v<rig::oneshot_function<void()>>);

TEST(oneshot_function, calls_once_then_is_empty_and_destroys_the_callable)
{
    probe p;
    auto const calls = p.calls;
    rig::oneshot_function<void(int)> f(std::move(p));
    ASSERT_TRUE(f);
    f(7);
    EXPECT_EQ(*calls, 1);
    EXPECT_FALSE(f);
    EXPECT_EQ(calls.use_count(), 1) << "the callable must be gone after its one call";
    EXPECT_THROW(f(7), std::bad_function_call);
    EXPECT_EQ(*calls, 1);
    EXPECT_THROW(rig::oneshot_function<int()>()(), std::bad_function_call);

    rig::oneshot_function<void()> throwing([] { throw std::runtime_error("handler failed"); });
    EXPECT_THROW(throwing(), std::runtime_error);
    EXPECT_FALSE(throwing) << "a throwing call still consumes the callable";
}

TEST(oneshot_function, destroys_without_calling)
{
    probe p;
    auto const calls = p.calls;
    {
        rig::oneshot_function<void(int)> f(std::move(p));
    }
    EXPECT_EQ(*calls, 0);
    EXPECT_EQ(calls.use_count(), 1);
}

TEST(oneshot_function, moves_and_takes_move_only_callables_that_get_their_arguments_forwarded)
{
    auto owned = std::make_unique<std::string>("report");
    rig::oneshot_function<std::size_t(std::string const&, std::size_t&&)> a(
        [owned = std::move(owned)](std::string const& prefix, std::size_t&& n) {
            return prefix.size() + owned->size() + n;
        });
    auto b = std::move(a);
    EXPECT_FALSE(a); // NOLINT(bugprone-use-after-move): the moved-from state is the point
    ASSERT_TRUE(b);
    EXPECT_EQ(b("ab", 3), 2u + 6u + 3u);
}

} // namespace

namespace {

// Hands out blocks and records what it got back, so that a test sees the callable's
// storage return to the allocator it came from.
struct allocation_log
{
    int allocated = 0;
    int deallocated = 0;
};

template <typename T>
struct logging_allocator
{
    using value_type = T;
    allocation_log* log;

    explicit logging_allocator(allocation_log* l) noexcept : log(l) {}
    template <typename U>
    logging_allocator(logging_allocator<U> const& other) noexcept : log(other.log) // NOLINT: rebinding converts
    {
    }
    T* allocate(std::size_t n)
    {
        ++log->allocated;
        return std::allocator<T>().allocate(n);
    }
    void deallocate(T* p, std::size_t n) noexcept
    {
        ++log->deallocated;
        std::allocator<T>().deallocate(p, n);
    }
    template <typename U>
    bool operator==(logging_allocator<U> const& other) const noexcept
    {
        return log == other.log;
    }
};

} // namespace

TEST(oneshot_function, takes_its_storage_from_the_given_allocator_and_gives_it_back_called_or_not)
{
    allocation_log log;
    probe p;
    auto const calls = p.calls;
    {
        rig::oneshot_function<void(int)> f(std::allocator_arg, logging_allocator<std::byte>(&log), p);
        EXPECT_EQ(log.allocated, 1);
        auto moved = std::move(f);
        moved(1);
        EXPECT_EQ(log.deallocated, 1) << "the call consumes the callable and frees its storage";
    }
    {
        rig::oneshot_function<void(int)> uncalled(std::allocator_arg, logging_allocator<std::byte>(&log), p);
    }
    EXPECT_EQ(log.allocated, 2);
    EXPECT_EQ(log.deallocated, 2) << "an uncalled callable gives its storage back too";
    EXPECT_EQ(*calls, 1);
    EXPECT_EQ(calls.use_count(), 2) << "each copy of the callable must be destroyed";
}
