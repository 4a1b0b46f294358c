#include "utility/oneshot_function.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>

namespace {

// Counts how often it is called and whether it is still alive.
struct probe
{
    std::shared_ptr<int> calls = std::make_shared<int>(0);
    std::weak_ptr<int> alive() const { return calls; }
    void operator()(int) { ++*calls; }
};

static_assert(!std::is_copy_constructible_v<rig::oneshot_function<void()>>);
static_assert(std::is_nothrow_move_constructible_v<rig::oneshot_function<void()>>);

TEST(oneshot_function, calls_once_then_is_empty_and_destroys_the_callable)
{
    probe p;
    auto const alive = p.alive();
    auto const calls = p.calls;
    rig::oneshot_function<void(int)> f(std::move(p));

    ASSERT_TRUE(f);
    f(7);
    EXPECT_EQ(*calls, 1);
    EXPECT_FALSE(f);
    EXPECT_EQ(alive.use_count(), 1) << "the callable must be gone after its one call";
    EXPECT_THROW(f(7), std::bad_function_call);
    EXPECT_EQ(*calls, 1);
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

TEST(oneshot_function, empty_call_throws_bad_function_call)
{
    rig::oneshot_function<int()> f;
    EXPECT_FALSE(f);
    EXPECT_THROW(f(), std::bad_function_call);
}

TEST(oneshot_function, move_transfers_and_empties_the_source)
{
    int calls = 0;
    rig::oneshot_function<void()> a([&] { ++calls; });
    rig::oneshot_function<void()> b(std::move(a));
    EXPECT_FALSE(a); // NOLINT(bugprone-use-after-move): the moved-from state is the point
    ASSERT_TRUE(b);
    b();
    EXPECT_EQ(calls, 1);
}

TEST(oneshot_function, takes_move_only_callables_and_forwards_arguments)
{
    auto owned = std::make_unique<std::string>("report");
    rig::oneshot_function<std::size_t(std::string const&, std::size_t&&)> f(
        [owned = std::move(owned)](std::string const& prefix, std::size_t&& n) { return prefix.size() + owned->size() + n; });
    EXPECT_EQ(f("ab", 3), 2u + 6u + 3u);
}

TEST(oneshot_function, a_throwing_call_still_consumes_the_callable)
{
    rig::oneshot_function<void()> f([] { throw std::runtime_error("handler failed"); });
    EXPECT_THROW(f(), std::runtime_error);
    EXPECT_FALSE(f);
}

} // namespace
