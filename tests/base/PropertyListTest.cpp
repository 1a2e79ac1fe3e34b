// Property lists made to harm their reader are refused, quickly. That none stops it is what the fuzz programs
// show, and KeyedArchiverTest that good ones are read.
#include "base/PropertyList.h"

#include <vector>

#include <gtest/gtest.h>

namespace tarvo {

namespace {

std::string xml(const std::string& value) {
    return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + value + "</plist>\n";
}

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

std::string bigEndian(std::uint64_t value, int size) {
    std::string bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

/// A binary list whose root is `object`, and whose `aliases` other objects are the same bytes. References
/// take two bytes, offsets four.
std::string binary(const std::string& object, std::size_t aliases = 0) {
    const std::string list = "bplist00" + object + repeated(bigEndian(8, 4), aliases + 1);
    return list + std::string(6, '\0') + "\4\2" + bigEndian(aliases + 1, 8) + bigEndian(0, 8) +
           bigEndian(8 + object.size(), 8);
}

bool isRead(const std::string& bytes) {
    return PropertyList::read(bytes).has_value();
}

} // namespace

TEST(PropertyList, XmlThatIsMoreThanAListIsRefused) {
    const std::vector<std::string> bad = {
        xml("<!-- comment --><dict/>"),         "<!DOCTYPE plist [<!ENTITY a \"b\">]>" + xml("<dict/>"),
        xml("<dict><string>a</string></dict>"), xml("<string>a<string>b</string></string>"),
        xml("<string>\xff</string>"),           xml("<integer>9223372036854775808</integer>"),
    };
    for (const auto& bytes : bad)
        EXPECT_FALSE(isRead(bytes)) << bytes;
}

TEST(PropertyList, WhatItMakesOfAFileIsBounded) {
    EXPECT_TRUE(isRead(xml("<string>" + repeated("&amp;", 1'000'000) + "</string>"))); // at once
    EXPECT_TRUE(isRead(xml(repeated("<array>", 1'000'000) + repeated("</array>", 1'000'000))));
    EXPECT_FALSE(isRead(xml("<array>" + repeated("<true/>", 2'000'001) + "</array>")));
    EXPECT_FALSE(isRead(xml("<dict>" + repeated("<key>a</key><true/>", 1025) + "</dict>")));
    EXPECT_FALSE(isRead(binary("\xdf\x12" + bigEndian(1025, 4) + std::string(4100, '\0'))));
    const std::string wide = "\xaf\x12" + bigEndian(60'000, 4) + std::string(120'000, '\0');
    EXPECT_TRUE(isRead(binary(wide, 30)));
    EXPECT_FALSE(isRead(binary(wide, 40))) << "references without number";
    const std::string large = "\x4f\x12" + bigEndian(1 << 20, 4) + std::string(1 << 20, 'x');
    EXPECT_TRUE(isRead(binary(large, 60)));
    EXPECT_FALSE(isRead(binary(large, 70))) << "a small file that fills the memory";
}

} // namespace tarvo
