// Text becomes the address that it stands for, and nothing hides in it.
#include "input/TRStringURL.h"

#include <gtest/gtest.h>

#include "input/HTMLEntities.h"

namespace tarvo {

namespace {

/// The address of a text; "-" when it is unsupported, "none" when it is supported but no address.
std::string addressOf(const std::string& text) {
    const TRStringURL candidate(text);
    if (!candidate.isSupported())
        return "-";
    const auto url = candidate.formattedURL();
    return url ? url->absoluteString() : "none";
}

} // namespace

TEST(TRStringURL, OnlyTransfersAreSupported) {
    EXPECT_EQ(addressOf("sftp://host/file"), "sftp://host/file");
    for (const char* other : {"file:///etc/passwd", "HTTP://host/x", "see http://x", "\nhttp://host/x", ""})
        EXPECT_EQ(addressOf(other), "-") << other;
}

TEST(TRStringURL, EscapesThePathOnceAndTheQueryNever) {
    const std::pair<const char*, const char*> cases[] = {
        {"  https://user:pw@host:8080/a (1).zip?x=1  ", "https://user:pw@host:8080/a%20%281%29.zip?x=1"},
        {"http://h/a%20b%2520%c3%bc", "http://h/a%20b%2520%C3%BC"},
        {"http://h/;@&=+$,'()[]ü", "http://h/%3B%40%26%3D%2B%24%2C%27%28%29%5B%5D%C3%BC"},
        {"http://h/100%/%zz/%f", "http://h/100%25/%25zz/%25f"},
        {"http://h/C%23.zip#part", "http://h/C%23.zip#part"},
        {"http://h/a%3Fb?q=%28(", "http://h/a%3Fb?q=%28("},
        {"http://user:@h/x", "http://user@h/x"},
    };
    for (const auto& [text, address] : cases)
        EXPECT_EQ(addressOf(text), address);
}

TEST(TRStringURL, NothingIsSmuggledIntoTheAddress) {
    EXPECT_EQ(addressOf("http://h/x\r\nHost: evil"), "http://h/x%0D%0AHost:%20evil");
    EXPECT_EQ(addressOf("http://h/x?q\r\nHost: evil"), "http://h/x?q%0D%0AHost:%20evil");
    for (const char* text : {"http://h\r\n/x", "http://h ost/", "http://h:1x/", "http://",
                             "http:///etc/passwd", "http://h%00/", "http://[::1/"})
        EXPECT_EQ(addressOf(text), "none") << text;
}

TEST(TRStringURL, ReadsTheAddressesOfAList) {
    const std::string tooLong = "http://h/" + std::string(kLongestLink, 'x');
    const std::string list = "http://a/x y\r\n\nhttp://:\n" + tooLong + "\nsftp://c/";
    std::string read;
    for (const std::string_view line : linesOf(list))
        if (const auto url = supportedURL(line))
            read += url->absoluteString() + " ";
    EXPECT_EQ(read, "http://a/x%20y sftp://c/ ");
}

TEST(HTMLEntities, AreDecodedOrKept) {
    const std::pair<const char*, const char*> cases[] = {
        {"a &amp; b &lt;c&gt; &#65;&#x42; &foo;", "a & b <c> AB &foo;"},
        {"&#65&#66x", "ABx"},
        {"&#zz; &#x; &# &#", "&#zz; &#x; &# &#"},
        {"&#a&amp;b", "&#a&amp;b"}, // up to the ";" it is the text of a number that could not be read
        {"&#xD83D;&#xDE00; &#128512;", "😀 😀"},
        {"&#x110000; &#99999999999999999999;", "&#x110000; &#99999999999999999999;"},
    };
    for (const auto& [text, decoded] : cases)
        EXPECT_EQ(stringByDecodingXMLEntities(text), decoded) << text;
}

} // namespace tarvo
