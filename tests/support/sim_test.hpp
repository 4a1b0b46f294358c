// sim_test: the base fixture that resets the simulated I/O Kit and fails a test leaking handles, CF objects or misuse.
#pragma once

#include "sim/control/diagnostics.hpp"
#include "sim/control/hid.hpp"
#include "sim/control/registry.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace plinth::testing {

// Base fixture for every test that touches the simulated I/O Kit: it starts from
// an empty registry with every HID access granted and, at the end, proves that the
// test left no handle, no CF object and no misuse behind.
class sim_test : public ::testing::Test
{
protected:
    void SetUp() override
    {
        sim::reset_registry();
        sim::reset_hid_access();
        sim::clear_misuse_reports();
    }

    void TearDown() override
    {
        EXPECT_EQ(sim::live_handles(), 0u) << "handles leaked by the test";
        EXPECT_EQ(sim::live_cf_objects(), 0u) << "CF objects leaked by the test";
        for (auto const& report : take_misuse_reports())
            ADD_FAILURE() << "misuse: " << report;
    }

    // Takes the misuse reports seen so far: a test that misuses on purpose checks
    // them, so that the end check sees only the unexpected ones.
    static std::vector<std::string> take_misuse_reports()
    {
        auto reports = sim::misuse_reports();
        sim::clear_misuse_reports();
        return reports;
    }
};

} // namespace plinth::testing
