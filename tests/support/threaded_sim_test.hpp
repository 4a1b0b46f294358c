// threaded_sim_test: a sim_test that also fails a test whose threads outlive it.
#pragma once

#include "support/sim_test.hpp"
#include "support/thread_count.hpp"

#include <cstddef>

namespace plinth::testing {

// A sim_test for code that starts threads: it also proves that every thread the
// test started (run-loop threads, detached clean-ups) has ended by its end.
class threaded_sim_test : public sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        threads_before = thread_count();
    }

    void TearDown() override
    {
        EXPECT_TRUE(threads_return_to(threads_before)) << "a thread was left running";
        sim_test::TearDown();
    }

    std::size_t threads_before = 0;
};

} // namespace plinth::testing
