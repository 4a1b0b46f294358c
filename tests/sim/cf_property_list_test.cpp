// Tests of the simulated CFPropertyList: writing to streams, reading back from data and streams, validity, errors.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFStream.h>
#include <CoreFoundation/CoreFoundation.h>

#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
namespace cf = plinth::testing::cf;

using cf_property_list_test = plinth::testing::sim_test;

// What a registry browser saves: a dictionary of strings, numbers, booleans, data,
// a nested dictionary and an array of dictionaries.
CFDictionaryRef create_nested_dictionary()
{
    CFMutableDictionaryRef root = cf::create_dictionary();
    CFMutableDictionaryRef child = cf::create_dictionary();
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFStringRef name = cf::create_string("IOUSBHostDevice \xE2\x80\x94 \"<&>\"");
    CFNumberRef number = cf::create_number(1452);
    CFNumberRef real = cf::create_real(2.5);
    UInt8 const bytes[] = {0, 1, 2, 0xFF};
    CFDataRef data = CFDataCreate(nullptr, bytes, sizeof bytes);
    CFDictionarySetValue(child, CFSTR("idVendor"), number);
    CFDictionarySetValue(child, CFSTR("bytes"), data);
    CFArrayAppendValue(array, child);
    CFArrayAppendValue(array, real);
    CFDictionarySetValue(root, CFSTR("IORegistryEntryName"), name);
    CFDictionarySetValue(root, CFSTR("IORegistryEntryChildren"), array);
    CFDictionarySetValue(root, CFSTR("Built-In"), kCFBooleanTrue);
    CFDictionarySetValue(root, CFSTR("properties"), child);
    cf::release_all(data, real, number, name, array, child);
    return root;
}

std::string text_of(CFDataRef data)
{
    return {CFDataGetBytePtr(data), CFDataGetBytePtr(data) + CFDataGetLength(data)};
}

CFDataRef data_of(std::string const& text)
{
    return CFDataCreate(nullptr, reinterpret_cast<UInt8 const*>(text.data()), static_cast<CFIndex>(text.size()));
}

TEST_F(cf_property_list_test, write_puts_the_bytes_of_create_data_on_the_stream)
{
    CFDictionaryRef plist = create_nested_dictionary();
    CFDataRef expected = CFPropertyListCreateData(nullptr, plist, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    ASSERT_NE(expected, nullptr);

    CFWriteStreamRef stream = CFWriteStreamCreateWithAllocatedBuffers(nullptr, nullptr);
    ASSERT_TRUE(CFWriteStreamOpen(stream));
    CFErrorRef error = nullptr;
    CFIndex const written = CFPropertyListWrite(plist, stream, kCFPropertyListXMLFormat_v1_0, 0, &error);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(written, CFDataGetLength(expected));
    auto const* data = static_cast<CFDataRef>(CFWriteStreamCopyProperty(stream, kCFStreamPropertyDataWritten));
    EXPECT_EQ(text_of(data), text_of(expected));
    EXPECT_EQ(text_of(data).rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", 0), 0u);
    CFWriteStreamClose(stream);
    cf::release_all(data, stream, expected, plist);
}

TEST_F(cf_property_list_test, written_data_reads_back_equal_and_as_mutable_as_asked)
{
    CFDictionaryRef plist = create_nested_dictionary();
    CFDataRef data = CFPropertyListCreateData(nullptr, plist, kCFPropertyListXMLFormat_v1_0, 0, nullptr);

    CFPropertyListFormat format = kCFPropertyListOpenStepFormat;
    CFErrorRef error = nullptr;
    CFPropertyListRef immutable =
        CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, &format, &error);
    ASSERT_NE(immutable, nullptr);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
    EXPECT_TRUE(CFEqual(immutable, plist));
    CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void*>(immutable)), CFSTR("x"), kCFBooleanTrue);
    EXPECT_EQ(take_misuse_reports().size(), 1u) << "an immutable dictionary was read";

    CFPropertyListRef containers =
        CFPropertyListCreateWithData(nullptr, data, kCFPropertyListMutableContainers, nullptr, nullptr);
    CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void*>(containers)), CFSTR("x"),
                         kCFBooleanTrue);
    auto const* name = static_cast<CFStringRef>(
        CFDictionaryGetValue(static_cast<CFDictionaryRef>(containers), CFSTR("IORegistryEntryName")));
    CFStringAppendCString(static_cast<CFMutableStringRef>(const_cast<CFMutableStringRef>(name)), "!",
                          kCFStringEncodingUTF8);
    EXPECT_EQ(take_misuse_reports().size(), 1u) << "mutable containers, immutable strings";

    CFPropertyListRef leaves =
        CFPropertyListCreateWithData(nullptr, data, kCFPropertyListMutableContainersAndLeaves, nullptr, nullptr);
    name = static_cast<CFStringRef>(
        CFDictionaryGetValue(static_cast<CFDictionaryRef>(leaves), CFSTR("IORegistryEntryName")));
    CFStringAppendCString(static_cast<CFMutableStringRef>(const_cast<CFMutableStringRef>(name)), "!",
                          kCFStringEncodingUTF8);
    EXPECT_TRUE(take_misuse_reports().empty()) << "mutable strings too";
    cf::release_all(leaves, containers, immutable, data, plist);
}

// A program that saves in the binary format reads the file back as it wrote it,
// and learns which format it was.
TEST_F(cf_property_list_test, binary_data_starts_with_its_magic_and_reads_back_equal)
{
    CFDictionaryRef plist = create_nested_dictionary();
    CFErrorRef error = nullptr;
    CFDataRef data = CFPropertyListCreateData(nullptr, plist, kCFPropertyListBinaryFormat_v1_0, 0, &error);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(text_of(data).rfind("bplist00", 0), 0u);
    CFPropertyListFormat format = kCFPropertyListXMLFormat_v1_0;
    CFPropertyListRef read = CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, &format, nullptr);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(format, kCFPropertyListBinaryFormat_v1_0);
    EXPECT_TRUE(CFEqual(read, plist));
    cf::release_all(read, data, plist);
}

// CoreFoundation writes a number as it reads it, signed: a registry number of 32
// bits with the top one set is a negative SInt32, and comes back as such.
TEST_F(cf_property_list_test, a_negative_number_is_written_signed_and_reads_back_negative)
{
    SInt32 const minus = -42;
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &minus);
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(array, number);
    for (auto const format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0})
    {
        CFDataRef data = CFPropertyListCreateData(nullptr, array, format, 0, nullptr);
        ASSERT_NE(data, nullptr);
        if (format == kCFPropertyListXMLFormat_v1_0)
        {
            EXPECT_NE(text_of(data).find("<integer>-42</integer>"), std::string::npos) << text_of(data);
        }
        auto const* read = static_cast<CFArrayRef>(
            CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr));
        ASSERT_NE(read, nullptr);
        SInt64 value = 0;
        EXPECT_TRUE(
            CFNumberGetValue(static_cast<CFNumberRef>(CFArrayGetValueAtIndex(read, 0)), kCFNumberSInt64Type, &value));
        EXPECT_EQ(value, -42) << "format " << format;
        cf::release_all(read, data);
    }
    cf::release_all(array, number);
}

TEST_F(cf_property_list_test, a_file_written_through_a_stream_reads_back_through_a_stream)
{
    auto const path = fs::temp_directory_path() / ("cf_property_list_test-" + std::to_string(::getpid()) + ".plist");
    CFStringRef path_string = cf::create_string(path.c_str());
    CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, path_string, kCFURLPOSIXPathStyle, false);
    CFDictionaryRef plist = create_nested_dictionary();

    CFWriteStreamRef writer = CFWriteStreamCreateWithFile(nullptr, url);
    ASSERT_TRUE(CFWriteStreamOpen(writer));
    EXPECT_GT(CFPropertyListWrite(plist, writer, kCFPropertyListXMLFormat_v1_0, 0, nullptr), 0);
    CFWriteStreamClose(writer);

    CFReadStreamRef reader = CFReadStreamCreateWithFile(nullptr, url);
    ASSERT_TRUE(CFReadStreamOpen(reader));
    CFPropertyListFormat format = kCFPropertyListBinaryFormat_v1_0;
    CFPropertyListRef read =
        CFPropertyListCreateWithStream(nullptr, reader, 0, kCFPropertyListImmutable, &format, nullptr);
    ASSERT_NE(read, nullptr);
    EXPECT_TRUE(CFEqual(read, plist));
    EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
    EXPECT_EQ(CFReadStreamGetStatus(reader), kCFStreamStatusAtEnd);
    CFReadStreamClose(reader);
    fs::remove(path);
    cf::release_all(read, reader, writer, plist, url, path_string);
}

TEST_F(cf_property_list_test, text_that_is_no_property_list_gives_a_corrupt_data_error)
{
    for (std::string const text :
         {"", "not a property list", "<?xml version=\"1.0\"?><plist><dict><key>a</key>", "{ a = b; }"})
    {
        CFDataRef data = data_of(text);
        CFErrorRef error = nullptr;
        CFPropertyListRef read = CFPropertyListCreateWithData(nullptr, data, 0, nullptr, &error);
        EXPECT_EQ(read, nullptr) << text;
        ASSERT_NE(error, nullptr) << text;
        EXPECT_TRUE(CFEqual(CFErrorGetDomain(error), kCFErrorDomainCocoa));
        EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListReadCorruptError);
        cf::release_all(error, data);
        if (read != nullptr)
            CFRelease(read);
    }
}

// No XML document carries U+0000: written, the text would end at it and read
// back as another string, so such a string is refused, with a reason.
TEST_F(cf_property_list_test, a_string_holding_nul_is_not_written_as_xml)
{
    UniChar const characters[] = {'a', 0, 'b'};
    CFStringRef const text = CFStringCreateWithCharacters(nullptr, characters, 3);
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateData(nullptr, text, kCFPropertyListXMLFormat_v1_0, 0, &error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListWriteStreamError);
    CFRelease(error);
    CFRelease(text);
    // An empty string holds nothing to refuse.
    CFDataRef const empty = CFPropertyListCreateData(nullptr, CFSTR(""), kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    EXPECT_NE(empty, nullptr);
    CFRelease(empty);
}

TEST_F(cf_property_list_test, writing_fails_with_a_write_error_for_a_closed_stream_or_no_property_list)
{
    CFDictionaryRef plist = create_nested_dictionary();
    CFWriteStreamRef stream = CFWriteStreamCreateWithAllocatedBuffers(nullptr, nullptr);
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListWrite(plist, stream, kCFPropertyListXMLFormat_v1_0, 0, &error), 0) << "not opened";
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListWriteStreamError);
    CFRelease(error);

    ASSERT_TRUE(CFWriteStreamOpen(stream));
    CFTypeRef values[] = {kCFBooleanTrue};
    CFSetRef set = CFSetCreate(nullptr, values, 1, &kCFTypeSetCallBacks);
    EXPECT_FALSE(CFPropertyListIsValid(set, kCFPropertyListXMLFormat_v1_0));
    error = nullptr;
    EXPECT_EQ(CFPropertyListWrite(set, stream, kCFPropertyListXMLFormat_v1_0, 0, &error), 0);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListWriteStreamError);
    CFRelease(error);
    EXPECT_EQ(CFPropertyListWrite(plist, stream, kCFPropertyListOpenStepFormat, 0, nullptr), 0)
        << "OpenStep is read, never written";
    auto const* data = static_cast<CFDataRef>(CFWriteStreamCopyProperty(stream, kCFStreamPropertyDataWritten));
    EXPECT_EQ(CFDataGetLength(data), 0) << "a failed write leaves nothing behind";
    cf::release_all(data, set, stream, plist);
}

TEST_F(cf_property_list_test, validity_depends_on_what_the_format_can_hold)
{
    CFDictionaryRef plist = create_nested_dictionary();
    EXPECT_TRUE(CFPropertyListIsValid(plist, kCFPropertyListXMLFormat_v1_0));
    EXPECT_TRUE(CFPropertyListIsValid(plist, kCFPropertyListBinaryFormat_v1_0));
    EXPECT_FALSE(CFPropertyListIsValid(plist, kCFPropertyListOpenStepFormat)) << "OpenStep has no numbers";
    EXPECT_FALSE(CFPropertyListIsValid(plist, static_cast<CFPropertyListFormat>(7)));

    CFMutableDictionaryRef number_keys = cf::create_dictionary();
    CFNumberRef key = cf::create_number(1);
    CFDictionarySetValue(number_keys, key, kCFBooleanTrue);
    EXPECT_FALSE(CFPropertyListIsValid(number_keys, kCFPropertyListXMLFormat_v1_0)) << "keys must be strings";
    cf::release_all(key, number_keys, plist);
}

TEST_F(cf_property_list_test, null_arguments_are_reported_and_fail)
{
    CFDictionaryRef plist = create_nested_dictionary();
    CFWriteStreamRef stream = CFWriteStreamCreateWithAllocatedBuffers(nullptr, nullptr);
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListWrite(nullptr, stream, kCFPropertyListXMLFormat_v1_0, 0, &error), 0);
    EXPECT_EQ(CFPropertyListWrite(plist, nullptr, kCFPropertyListXMLFormat_v1_0, 0, &error), 0);
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, nullptr, 0, nullptr, &error), nullptr);
    EXPECT_EQ(CFPropertyListCreateWithStream(nullptr, nullptr, 0, 0, nullptr, &error), nullptr);
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, reinterpret_cast<CFDataRef>(plist), 0, nullptr, &error), nullptr)
        << "a dictionary is no data";
    EXPECT_FALSE(CFPropertyListIsValid(nullptr, kCFPropertyListXMLFormat_v1_0));
    EXPECT_EQ(error, nullptr) << "misuse makes no CFError";
    EXPECT_EQ(take_misuse_reports().size(), 6u);
    cf::release_all(stream, plist);
}

} // namespace
