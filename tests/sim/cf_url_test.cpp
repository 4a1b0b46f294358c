// Tests of the simulated CFURL: file URLs from paths and back, relative paths, URL strings, equality.
#include "sim/cf_support.hpp"
#include "support/sim_test.hpp"

#include <CoreFoundation/CFURL.h>
#include <CoreFoundation/CoreFoundation.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using cf_url_test = plinth::testing::sim_test;
using plinth::testing::cf::create_string;

// The text of a string the caller owns, which it releases; "<null>" for NULL.
std::string take_text(CFStringRef string)
{
    if (string == nullptr)
        return "<null>";
    std::vector<char> buffer(static_cast<std::size_t>(CFStringGetLength(string)) * 3 + 1);
    CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()), kCFStringEncodingUTF8);
    CFRelease(string);
    return buffer.data();
}

// The text of a string the caller does not own.
std::string text_of(CFStringRef string)
{
    return string == nullptr ? "<null>" : take_text(static_cast<CFStringRef>(CFRetain(string)));
}

CFURLRef file_url(char const* path, bool directory = false)
{
    CFStringRef string = create_string(path);
    CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, string, kCFURLPOSIXPathStyle, directory);
    CFRelease(string);
    return url;
}

CFURLRef url_from_string(char const* text, CFURLRef base = nullptr)
{
    CFStringRef string = create_string(text);
    CFURLRef url = CFURLCreateWithString(nullptr, string, base);
    CFRelease(string);
    return url;
}

std::string representation(CFURLRef url, bool resolve)
{
    UInt8 buffer[1024];
    if (!CFURLGetFileSystemRepresentation(url, resolve, buffer, sizeof buffer))
        return "<failed>";
    return reinterpret_cast<char const*>(buffer);
}

TEST_F(cf_url_test, a_path_with_spaces_and_non_ascii_round_trips_through_its_escaped_file_url)
{
    CFURLRef url = file_url("/tmp/a b/\xC3\xBC.plist");
    ASSERT_NE(url, nullptr);
    EXPECT_EQ(CFGetTypeID(url), CFURLGetTypeID());
    EXPECT_EQ(text_of(CFURLGetString(url)), "file:///tmp/a%20b/%C3%BC.plist");
    EXPECT_EQ(take_text(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)), "/tmp/a b/\xC3\xBC.plist");
    EXPECT_EQ(representation(url, true), "/tmp/a b/\xC3\xBC.plist");
    EXPECT_EQ(take_text(CFURLCopyLastPathComponent(url)), "\xC3\xBC.plist");
    EXPECT_EQ(take_text(CFURLCopyPathExtension(url)), "plist");
    EXPECT_FALSE(CFURLHasDirectoryPath(url));
    EXPECT_EQ(CFURLGetBaseURL(url), nullptr);

    // The same path given as bytes is the same URL.
    std::string const bytes = "/tmp/a b/\xC3\xBC.plist";
    CFURLRef from_bytes = CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<UInt8 const*>(bytes.data()),
                                                                  static_cast<CFIndex>(bytes.size()), false);
    ASSERT_NE(from_bytes, nullptr);
    EXPECT_TRUE(CFEqual(url, from_bytes));
    CFRelease(from_bytes);
    CFRelease(url);
}

TEST_F(cf_url_test, characters_that_would_end_the_path_are_escaped_and_read_back)
{
    CFURLRef url = file_url("/tmp/50%;x?y#z");
    EXPECT_EQ(text_of(CFURLGetString(url)), "file:///tmp/50%25%3Bx%3Fy%23z");
    EXPECT_EQ(take_text(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)), "/tmp/50%;x?y#z");
    CFRelease(url);
}

TEST_F(cf_url_test, a_directory_url_ends_in_a_slash_and_its_path_does_not)
{
    CFURLRef directory = file_url("/tmp/dir", true);
    EXPECT_EQ(text_of(CFURLGetString(directory)), "file:///tmp/dir/");
    EXPECT_TRUE(CFURLHasDirectoryPath(directory));
    EXPECT_EQ(take_text(CFURLCopyFileSystemPath(directory, kCFURLPOSIXPathStyle)), "/tmp/dir");
    EXPECT_EQ(take_text(CFURLCopyLastPathComponent(directory)), "dir");
    EXPECT_EQ(CFURLCopyPathExtension(directory), nullptr);

    // A trailing slash on a path said not to be a directory is dropped.
    CFURLRef file = file_url("/tmp/dir/", false);
    EXPECT_EQ(text_of(CFURLGetString(file)), "file:///tmp/dir");
    EXPECT_FALSE(CFURLHasDirectoryPath(file));
    EXPECT_FALSE(CFEqual(directory, file));

    CFURLRef root = file_url("/", true);
    EXPECT_EQ(text_of(CFURLGetString(root)), "file:///");
    EXPECT_EQ(representation(root, true), "/");
    EXPECT_EQ(take_text(CFURLCopyLastPathComponent(root)), "/");
    plinth::testing::cf::release_all(root, file, directory);
}

TEST_F(cf_url_test, a_relative_path_stays_relative_to_the_current_directory)
{
    std::string const cwd = std::filesystem::current_path().string();
    CFURLRef url = file_url("sub dir/f.txt");
    ASSERT_NE(url, nullptr);
    EXPECT_EQ(text_of(CFURLGetString(url)), "sub%20dir/f.txt");
    CFURLRef base = CFURLGetBaseURL(url);
    ASSERT_NE(base, nullptr);
    EXPECT_TRUE(CFURLHasDirectoryPath(base));
    EXPECT_EQ(representation(base, true), cwd);

    EXPECT_EQ(take_text(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)), "sub dir/f.txt");
    EXPECT_EQ(representation(url, false), "sub dir/f.txt");
    EXPECT_EQ(representation(url, true), cwd + "/sub dir/f.txt");

    CFURLRef absolute = CFURLCopyAbsoluteURL(url);
    EXPECT_EQ(CFURLGetBaseURL(absolute), nullptr);
    EXPECT_EQ(take_text(CFURLCopyFileSystemPath(absolute, kCFURLPOSIXPathStyle)), cwd + "/sub dir/f.txt");
    // Relative and absolute name the same file but are different URLs, as on a Mac.
    EXPECT_FALSE(CFEqual(url, absolute));

    // An absolute URL is its own absolute URL.
    CFURLRef again = CFURLCopyAbsoluteURL(absolute);
    EXPECT_EQ(again, absolute);
    plinth::testing::cf::release_all(again, absolute, url);
}

TEST_F(cf_url_test, get_file_system_representation_fails_rather_than_cut_the_path_short)
{
    CFURLRef url = file_url("/tmp/abc");
    UInt8 buffer[9];
    std::fill(std::begin(buffer), std::end(buffer), UInt8{'#'});
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(url, true, buffer, 8)) << "8 bytes leave no room for the NUL";
    EXPECT_TRUE(CFURLGetFileSystemRepresentation(url, true, buffer, 9));
    EXPECT_STREQ(reinterpret_cast<char const*>(buffer), "/tmp/abc");
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(url, true, buffer, 0));
    CFRelease(url);
}

TEST_F(cf_url_test, equal_urls_hash_alike_and_find_each_other_as_dictionary_keys)
{
    CFURLRef first = file_url("/tmp/a b");
    CFURLRef second = url_from_string("file:///tmp/a%20b");
    CFURLRef other = file_url("/tmp/a c");
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(CFEqual(first, second));
    EXPECT_EQ(CFHash(first), CFHash(second));
    EXPECT_FALSE(CFEqual(first, other));

    CFMutableDictionaryRef dictionary = plinth::testing::cf::create_dictionary();
    CFDictionarySetValue(dictionary, first, kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, second), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetValue(dictionary, other), nullptr);
    plinth::testing::cf::release_all(dictionary, other, second, first);
}

TEST_F(cf_url_test, the_description_gives_the_string_and_the_base_as_on_a_mac)
{
    CFURLRef url = file_url("/tmp/a b");
    std::string const description = take_text(CFCopyDescription(url));
    EXPECT_EQ(description.rfind("<CFURL 0x", 0), 0u) << description;
    EXPECT_NE(description.find(">{string = file:///tmp/a%20b, encoding = 134217984, base = (null)}"), std::string::npos)
        << description;
    CFRelease(url);
}

TEST_F(cf_url_test, url_strings_are_checked_and_relative_ones_resolved_against_their_base)
{
    for (char const* bad : {"file:///tmp/a b", "file:///tmp/%zz", "file:///tmp/\xC3\xBC", "a#b#c"})
    {
        CFURLRef url = url_from_string(bad);
        EXPECT_EQ(url, nullptr) << bad;
        if (url != nullptr)
            CFRelease(url);
    }

    CFURLRef base = url_from_string("file:///tmp/x/y/");
    CFURLRef relative = url_from_string("../z%20w.txt", base);
    ASSERT_NE(relative, nullptr);
    EXPECT_EQ(CFURLGetBaseURL(relative), base);
    EXPECT_EQ(representation(relative, true), "/tmp/x/z w.txt");
    CFURLRef absolute = CFURLCopyAbsoluteURL(relative);
    EXPECT_EQ(text_of(CFURLGetString(absolute)), "file:///tmp/x/z%20w.txt");

    // A URL with a scheme has no use for a base.
    CFURLRef web = url_from_string("http://example.com/a/b.html", base);
    EXPECT_EQ(CFURLGetBaseURL(web), nullptr);
    EXPECT_EQ(take_text(CFURLCopyPathExtension(web)), "html");
    EXPECT_EQ(CFURLCopyFileSystemPath(web, kCFURLPOSIXPathStyle), nullptr) << "only file URLs name files";
    EXPECT_EQ(representation(web, true), "<failed>");
    plinth::testing::cf::release_all(web, absolute, relative, base);
}

TEST_F(cf_url_test, path_bytes_are_read_up_to_a_nul_and_must_be_utf8)
{
    UInt8 const with_nul[] = {'/', 't', 'm', 'p', 0, 'x'};
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(nullptr, with_nul, sizeof with_nul, false);
    EXPECT_EQ(text_of(CFURLGetString(url)), "file:///tmp");
    CFRelease(url);

    UInt8 const latin1[] = {'/', 0xFC};
    EXPECT_EQ(CFURLCreateFromFileSystemRepresentation(nullptr, latin1, sizeof latin1, false), nullptr);
    CFStringRef empty = create_string("");
    EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, empty, kCFURLPOSIXPathStyle, false), nullptr);
    CFRelease(empty);
}

TEST_F(cf_url_test, null_arguments_and_other_path_styles_are_reported_and_fail)
{
    CFStringRef path = create_string("/tmp/x");
    EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, nullptr, kCFURLPOSIXPathStyle, false), nullptr);
    EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, path, kCFURLWindowsPathStyle, false), nullptr);
    EXPECT_EQ(CFURLCreateFromFileSystemRepresentation(nullptr, nullptr, 3, false), nullptr);
    EXPECT_EQ(CFURLCreateWithString(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFURLGetString(nullptr), nullptr);
    EXPECT_EQ(CFURLCopyAbsoluteURL(nullptr), nullptr);
    EXPECT_EQ(CFURLCopyFileSystemPath(nullptr, kCFURLPOSIXPathStyle), nullptr);
    CFURLRef url = file_url("/tmp/x");
    EXPECT_EQ(CFURLCopyFileSystemPath(url, kCFURLHFSPathStyle), nullptr);
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(url, true, nullptr, 10));
    EXPECT_EQ(CFURLCreateWithString(nullptr, path, reinterpret_cast<CFURLRef>(path)), nullptr)
        << "a base that is no URL";
    EXPECT_EQ(take_misuse_reports().size(), 10u);
    plinth::testing::cf::release_all(url, path);
}

} // namespace
