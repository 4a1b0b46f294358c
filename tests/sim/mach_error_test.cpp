// Tests of the simulated mach_error_string, mach_error_type and mach_error.
#include <IOKit/IOReturn.h>
#include <mach/mach.h>
#include <mach/mach_error.h>

#include <gtest/gtest.h>

#include <string>

namespace {

std::string text_of(mach_error_t value)
{
    return mach_error_string(value);
}

TEST(mach_error, kern_return_codes_read_as_on_a_mac)
{
    EXPECT_EQ(text_of(KERN_SUCCESS), "(os/kern) successful");
    EXPECT_EQ(text_of(KERN_INVALID_ARGUMENT), "(os/kern) invalid argument");
    EXPECT_EQ(text_of(KERN_FAILURE), "(os/kern) failure");
    EXPECT_EQ(text_of(KERN_INVALID_NAME), "(os/kern) invalid name");
    EXPECT_EQ(text_of(KERN_INVALID_RIGHT), "(os/kern) invalid right");
    EXPECT_EQ(text_of(KERN_NOT_SUPPORTED), "(os/kern) not supported");
    EXPECT_EQ(text_of(49), "(os/kern) operation timed out") << "KERN_OPERATION_TIMED_OUT, the last in the table";
}

TEST(mach_error, message_codes_read_as_on_a_mac)
{
    EXPECT_EQ(text_of(MACH_SEND_INVALID_DEST), "(ipc/send) invalid destination port");
    EXPECT_EQ(text_of(MACH_SEND_TIMED_OUT), "(ipc/send) timed out");
    EXPECT_EQ(text_of(MACH_RCV_TIMED_OUT), "(ipc/rcv) timed out");
}

// Around the codes IOKit leaves unnumbered, and at both ends of its table.
TEST(mach_error, iokit_common_returns_read_as_on_a_mac)
{
    EXPECT_EQ(text_of(kIOReturnError), "(iokit/common) general error");
    EXPECT_EQ(text_of(kIOReturnNoDevice), "(iokit/common) no such device");
    EXPECT_EQ(text_of(kIOReturnBadArgument), "(iokit/common) invalid argument");
    EXPECT_EQ(text_of(kIOReturnExclusiveAccess), "(iokit/common) exclusive access and device already open");
    EXPECT_EQ(text_of(kIOReturnIOError), "(iokit/common) General I/O error");
    EXPECT_EQ(text_of(kIOReturnCannotLock), "(iokit/common) can't acquire lock");
    EXPECT_EQ(text_of(kIOReturnNotOpen), "(iokit/common) device not open");
    EXPECT_EQ(text_of(kIOReturnNoSpace), "(iokit/common) no space for data");
    EXPECT_EQ(text_of(kIOReturnPortExists), "(iokit/common) port already exists");
    EXPECT_EQ(text_of(kIOReturnNotPermitted), "(iokit/common) not permitted");
    EXPECT_EQ(text_of(kIOReturnAborted), "(iokit/common) operation aborted");
    EXPECT_EQ(text_of(kIOReturnNotFound), "(iokit/common) data was not found");
    EXPECT_EQ(text_of(kIOReturnInvalid), "(iokit/common) should never be seen");
}

TEST(mach_error, values_without_a_text_are_unknown_codes)
{
    for (mach_error_t value : {mach_error_t{0x100}, iokit_common_err(0x2cb), iokit_common_err(0x2dc),
                               iokit_common_err(0x2f1), iokit_common_err(0x2bb), err_local | 1, -1})
        EXPECT_EQ(text_of(value), "unknown error code") << std::hex << value;
}

TEST(mach_error, type_names_the_system_and_subsystem)
{
    EXPECT_EQ(std::string(mach_error_type(KERN_INVALID_ARGUMENT)), "(os/kern)");
    EXPECT_EQ(std::string(mach_error_type(MACH_SEND_INVALID_DEST)), "(ipc/send)");
    EXPECT_EQ(std::string(mach_error_type(MACH_RCV_TIMED_OUT)), "(ipc/rcv)");
    EXPECT_EQ(std::string(mach_error_type(kIOReturnNotPermitted)), "(iokit/common)");
    EXPECT_EQ(std::string(mach_error_type(err_local | 1)), "(?/?)");
}

TEST(mach_error, mach_error_writes_the_prefix_and_text_to_standard_error)
{
    testing::internal::CaptureStderr();
    mach_error("IOServiceOpen:", kIOReturnNotPermitted);
    mach_error("open:", iokit_common_err(0x2cb));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IOServiceOpen: (iokit/common) not permitted\nopen: unknown error code (0xe00002cb)\n");
}

} // namespace
