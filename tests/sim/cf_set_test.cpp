// Tests of the simulated CFSet.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <string>
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
    CFSetApplyFunction(
        set, [](void const*, void* context) { ++*static_cast<int*>(context); }, &visits);
    EXPECT_EQ(visits, 2);
    release_all(set, other);
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRelease(number);
}

// Found by cf_value_fuzzer: the registry's reading of an empty set handed over the
// data() of an empty vector, and the simulation reported that as misuse.
TEST_F(cf_set_test, values_of_an_empty_set_go_to_an_empty_buffer)
{
    CFSetRef empty = CFSetCreate(nullptr, nullptr, 0, &kCFTypeSetCallBacks);
    std::vector<void const*> none;
    CFSetGetValues(empty, none.data());
    EXPECT_TRUE(take_misuse_reports().empty());

    void const* values[] = {CFSTR("a")};
    CFSetRef one = CFSetCreate(nullptr, values, 1, &kCFTypeSetCallBacks);
    CFSetGetValues(one, nullptr);
    EXPECT_EQ(take_misuse_reports(), std::vector<std::string>{"CFSetGetValues: NULL values buffer"});
    release_all(empty, one);
}

} // namespace
