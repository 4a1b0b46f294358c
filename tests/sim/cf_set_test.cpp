#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <vector>

namespace {

using namespace plinth::testing::cf;

using cf_set_test = plinth::testing::sim_test;

TEST_F(cf_set_test, holds_each_value_once_by_equality)
{
    CFMutableSetRef set = CFSetCreateMutable(nullptr, 0, &kCFTypeSetCallBacks);
    CFStringRef made = create_string("IOService");
    CFSetAddValue(set, CFSTR("IOService"));
    CFSetAddValue(set, made);
    CFSetAddValue(set, CFSTR("IOUSBHostDevice"));
    EXPECT_EQ(CFSetGetCount(set), 2);
    EXPECT_EQ(CFGetRetainCount(made), 1) << "an equal value was present: nothing added";
    EXPECT_TRUE(CFSetContainsValue(set, made));

    std::vector<void const*> values(2);
    CFSetGetValues(set, values.data());
    EXPECT_NE(std::find(values.begin(), values.end(), CFSTR("IOService")), values.end());

    CFSetRemoveValue(set, made);
    EXPECT_FALSE(CFSetContainsValue(set, CFSTR("IOService")));
    release_all(made, set);
}

TEST_F(cf_set_test, retains_values_and_compares_as_sets)
{
    CFNumberRef number = create_number(5);
    void const* values[] = {number, CFSTR("a"), number};
    void const* reordered[] = {CFSTR("a"), number};
    CFSetRef set = CFSetCreate(nullptr, values, 3, &kCFTypeSetCallBacks);
    CFSetRef other = CFSetCreate(nullptr, reordered, 2, &kCFTypeSetCallBacks);
    EXPECT_EQ(CFSetGetCount(set), 2);
    EXPECT_EQ(CFGetRetainCount(number), 3);
    EXPECT_TRUE(CFEqual(set, other));

    int visits = 0;
    CFSetApplyFunction(set, [](void const*, void* context) { ++*static_cast<int*>(context); }, &visits);
    EXPECT_EQ(visits, 2);
    release_all(set, other);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRelease(number);
}

} // namespace
