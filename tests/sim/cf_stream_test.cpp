// Tests of the simulated CFStream: file write and read streams, their status and errors, and memory write streams.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CFStream.h>
#include <CoreFoundation/CoreFoundation.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// Each test works in a directory of its own, removed at the end.
class cf_stream_test : public plinth::testing::sim_test
{
protected:
    void SetUp() override
    {
        sim_test::SetUp();
        auto const* info = ::testing::UnitTest::GetInstance()->current_test_info();
        directory_ = fs::temp_directory_path() /
                     (std::string("cf_stream_test-") + std::to_string(::getpid()) + '-' + info->name());
        fs::remove_all(directory_);
        fs::create_directories(directory_);
    }

    void TearDown() override
    {
        fs::remove_all(directory_);
        sim_test::TearDown();
    }

    CFURLRef url_for(std::string const& name) const
    {
        auto const path = (directory_ / name).string();
        return CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<UInt8 const*>(path.data()),
                                                       static_cast<CFIndex>(path.size()), false);
    }

    std::string contents(std::string const& name) const
    {
        std::ifstream file(directory_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    fs::path directory_;
};

CFIndex write_text(CFWriteStreamRef stream, std::string const& text)
{
    return CFWriteStreamWrite(stream, reinterpret_cast<UInt8 const*>(text.data()), static_cast<CFIndex>(text.size()));
}

std::size_t open_descriptors()
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

TEST_F(cf_stream_test, a_written_file_reads_back_through_the_status_of_each_stream)
{
    CFURLRef url = url_for("out file.txt");
    CFWriteStreamRef writer = CFWriteStreamCreateWithFile(nullptr, url);
    ASSERT_NE(writer, nullptr);
    EXPECT_EQ(CFGetTypeID(writer), CFWriteStreamGetTypeID());
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusNotOpen);
    EXPECT_FALSE(fs::exists(directory_ / "out file.txt")) << "the file is made by the open, not the create";
    ASSERT_TRUE(CFWriteStreamOpen(writer));
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusOpen);
    EXPECT_EQ(write_text(writer, "hello "), 6);
    EXPECT_EQ(write_text(writer, "world"), 5);
    EXPECT_EQ(CFWriteStreamWrite(writer, nullptr, 0), 0);
    CFWriteStreamClose(writer);
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusClosed);
    CFStreamError const none = CFWriteStreamGetError(writer);
    EXPECT_EQ(none.domain, 0);
    EXPECT_EQ(none.error, 0);
    EXPECT_EQ(CFWriteStreamCopyError(writer), nullptr);
    EXPECT_EQ(contents("out file.txt"), "hello world");

    CFReadStreamRef reader = CFReadStreamCreateWithFile(nullptr, url);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(CFGetTypeID(reader), CFReadStreamGetTypeID());
    EXPECT_EQ(CFReadStreamGetStatus(reader), kCFStreamStatusNotOpen);
    ASSERT_TRUE(CFReadStreamOpen(reader));
    UInt8 buffer[8];
    EXPECT_EQ(CFReadStreamRead(reader, buffer, sizeof buffer), 8);
    EXPECT_EQ(std::string(buffer, buffer + 8), "hello wo");
    EXPECT_EQ(CFReadStreamRead(reader, buffer, sizeof buffer), 3);
    EXPECT_EQ(std::string(buffer, buffer + 3), "rld");
    EXPECT_EQ(CFReadStreamGetStatus(reader), kCFStreamStatusOpen);
    EXPECT_EQ(CFReadStreamRead(reader, buffer, sizeof buffer), 0);
    EXPECT_EQ(CFReadStreamGetStatus(reader), kCFStreamStatusAtEnd);
    EXPECT_EQ(CFReadStreamRead(reader, buffer, sizeof buffer), 0) << "the end stays the end";
    CFReadStreamClose(reader);
    EXPECT_EQ(CFReadStreamGetStatus(reader), kCFStreamStatusClosed);
    EXPECT_EQ(CFReadStreamRead(reader, buffer, sizeof buffer), -1);
    plinth::testing::cf::release_all(reader, writer, url);
}

TEST_F(cf_stream_test, a_stream_that_is_not_open_takes_no_bytes_and_opens_only_once)
{
    CFURLRef url = url_for("once.txt");
    CFWriteStreamRef writer = CFWriteStreamCreateWithFile(nullptr, url);
    EXPECT_EQ(write_text(writer, "early"), -1) << "before the open";
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusNotOpen);
    ASSERT_TRUE(CFWriteStreamOpen(writer));
    EXPECT_EQ(write_text(writer, "kept"), 4);
    CFWriteStreamClose(writer);
    EXPECT_EQ(write_text(writer, "late"), -1) << "after the close";
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusClosed);
    EXPECT_EQ(contents("once.txt"), "kept");

    EXPECT_FALSE(CFWriteStreamOpen(writer)) << "a closed stream is not opened again";
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusError);
    EXPECT_EQ(CFWriteStreamGetError(writer).error, EPERM);
    EXPECT_EQ(contents("once.txt"), "kept") << "nor is its file replaced";
    plinth::testing::cf::release_all(writer, url);
}

TEST_F(cf_stream_test, opening_a_file_in_a_missing_directory_gives_the_error_status_with_errno)
{
    CFURLRef url = url_for("missing/out.txt");
    CFWriteStreamRef writer = CFWriteStreamCreateWithFile(nullptr, url);
    EXPECT_FALSE(CFWriteStreamOpen(writer));
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusError);
    CFStreamError const error = CFWriteStreamGetError(writer);
    EXPECT_EQ(error.domain, kCFStreamErrorDomainPOSIX);
    EXPECT_EQ(error.error, ENOENT);
    CFErrorRef copied = CFWriteStreamCopyError(writer);
    ASSERT_NE(copied, nullptr);
    EXPECT_TRUE(CFEqual(CFErrorGetDomain(copied), kCFErrorDomainPOSIX));
    EXPECT_EQ(CFErrorGetCode(copied), ENOENT);
    EXPECT_EQ(write_text(writer, "x"), -1);
    CFWriteStreamClose(writer);
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusError) << "the error outlives the close";

    CFReadStreamRef reader = CFReadStreamCreateWithFile(nullptr, url);
    EXPECT_FALSE(CFReadStreamOpen(reader));
    EXPECT_EQ(CFReadStreamGetStatus(reader), kCFStreamStatusError);
    EXPECT_EQ(CFReadStreamGetError(reader).error, ENOENT);
    CFErrorRef read_error = CFReadStreamCopyError(reader);
    EXPECT_EQ(CFErrorGetCode(read_error), ENOENT);
    plinth::testing::cf::release_all(read_error, reader, copied, writer, url);
}

TEST_F(cf_stream_test, releasing_an_open_stream_closes_its_file)
{
    auto const before = open_descriptors();
    CFURLRef url = url_for("left-open.txt");
    CFWriteStreamRef writer = CFWriteStreamCreateWithFile(nullptr, url);
    CFReadStreamRef reader = CFReadStreamCreateWithFile(nullptr, url);
    ASSERT_TRUE(CFWriteStreamOpen(writer));
    ASSERT_TRUE(CFReadStreamOpen(reader));
    EXPECT_EQ(open_descriptors(), before + 2);
    plinth::testing::cf::release_all(reader, writer, url);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(cf_stream_test, a_memory_stream_hands_back_what_was_written)
{
    CFWriteStreamRef writer = CFWriteStreamCreateWithAllocatedBuffers(nullptr, nullptr);
    ASSERT_TRUE(CFWriteStreamOpen(writer));
    EXPECT_EQ(write_text(writer, "abc"), 3);
    EXPECT_EQ(write_text(writer, "de"), 2);
    auto const* data = static_cast<CFDataRef>(CFWriteStreamCopyProperty(writer, kCFStreamPropertyDataWritten));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::string(CFDataGetBytePtr(data), CFDataGetBytePtr(data) + CFDataGetLength(data)), "abcde");
    CFStringRef unknown = CFSTR("no such property");
    EXPECT_EQ(CFWriteStreamCopyProperty(writer, unknown), nullptr);
    CFWriteStreamClose(writer);
    plinth::testing::cf::release_all(data, writer);
}

TEST_F(cf_stream_test, null_arguments_are_reported_and_fail)
{
    EXPECT_EQ(CFWriteStreamCreateWithFile(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFReadStreamCreateWithFile(nullptr, nullptr), nullptr);
    EXPECT_FALSE(CFWriteStreamOpen(nullptr));
    EXPECT_EQ(CFWriteStreamGetStatus(nullptr), kCFStreamStatusError);
    EXPECT_EQ(CFReadStreamRead(nullptr, nullptr, 0), -1);

    CFWriteStreamRef writer = CFWriteStreamCreateWithAllocatedBuffers(nullptr, nullptr);
    ASSERT_TRUE(CFWriteStreamOpen(writer));
    EXPECT_EQ(CFWriteStreamWrite(writer, nullptr, 4), -1);
    UInt8 const byte = 1;
    EXPECT_EQ(CFWriteStreamWrite(writer, &byte, -1), -1);
    EXPECT_EQ(CFWriteStreamGetStatus(writer), kCFStreamStatusOpen) << "a bad call leaves the stream as it was";
    EXPECT_EQ(take_misuse_reports().size(), 7u);
    CFRelease(writer);
}

} // namespace
