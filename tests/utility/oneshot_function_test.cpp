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
        [owned = std::move(owned)](std::string const& prefix, std::size_t&& n) { return prefix.size() + owned->size() + n; });
    auto b = std::move(a);
    EXPECT_FALSE(a); // NOLINT(bugprone-use-after-move): the moved-from state is the point
    ASSERT_TRUE(b);
    EXPECT_EQ(b("ab", 3), 2u + 6u + 3u);
}

} // namespace
