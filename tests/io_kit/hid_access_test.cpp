// Tests of hid_access: the user's decision read without asking, and a request that asks only while undecided.
#include "io_kit/hid_access.hpp"
#include "sim/control/hid.hpp"
#include "support/sim_test.hpp"

namespace {

using namespace plinth::apple::io_kit;
namespace sim = plinth::sim;

using hid_access_test = plinth::testing::sim_test;

TEST_F(hid_access_test, a_check_reads_the_decision_and_a_request_decides_only_what_is_undecided)
{
    sim::set_hid_access(kIOHIDAccessTypeUnknown);
    sim::set_hid_access_answer(false);
    EXPECT_EQ(check_hid_access(kIOHIDRequestTypeListenEvent), kIOHIDAccessTypeUnknown);
    EXPECT_EQ(check_hid_access(kIOHIDRequestTypePostEvent), kIOHIDAccessTypeGranted) << "the other type's own";
    EXPECT_FALSE(request_hid_access(kIOHIDRequestTypeListenEvent));
    EXPECT_EQ(check_hid_access(kIOHIDRequestTypeListenEvent), kIOHIDAccessTypeDenied);

    sim::set_hid_access(kIOHIDAccessTypeGranted);
    EXPECT_TRUE(request_hid_access(kIOHIDRequestTypeListenEvent));
}

} // namespace
