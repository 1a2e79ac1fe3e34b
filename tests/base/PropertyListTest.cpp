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

/// A binary list of the given objects, the first one being the root, and `aliases` more that are the last
/// one's bytes. References take two bytes, offsets four.
std::string binary(const std::vector<std::string>& objects, std::size_t aliases = 0) {
    std::string bytes = "bplist00";
    std::string table;
    for (const auto& object : objects) {
        table += bigEndian(bytes.size(), 4);
        bytes += object;
    }
    table += repeated(table.substr(table.size() - 4), aliases);
    const std::size_t at = bytes.size();
    return bytes + table + std::string(6, '\0') + "\4\2" + bigEndian(objects.size() + aliases, 8) +
           bigEndian(0, 8) + bigEndian(at, 8);
}

bool isRead(const std::string& bytes) {
    return PropertyList::read(bytes).has_value();
}

} // namespace

TEST(PropertyList, XmlThatIsMoreThanAListIsRefused) {
    EXPECT_TRUE(isRead(
        "<plist>\n<array><data>\nAA==\n</data><string>&#233;</string><real>1e3</real></array></plist>"));
    const std::vector<std::string> bad = {
        xml("<!-- comment --><dict/>"),
        "<!DOCTYPE plist [<!ENTITY a \"b\">]>" + xml("<dict/>"),
        xml("<dict/>") + "<!-- after -->",
        xml("<dict><key>a</key></dict>"),
        xml("<dict><string>a</string></dict>"),
        xml("<array><key>a</key></array>"),
        xml("<array></dict>"),
        xml("<string>a<string>b</string></string>"),
        xml("<string>&unknown;</string>"),
        xml("<string>&#0;</string>"),
        xml("<string>\xff</string>"),
        xml("<data>A*==</data>"),
        xml("<integer>9223372036854775808</integer>"),
        xml("<integer>1.5</integer>"),
    };
    for (const auto& bytes : bad)
        EXPECT_FALSE(isRead(bytes)) << bytes;
}

TEST(PropertyList, WhatItMakesOfAFileIsBounded) {
    EXPECT_TRUE(isRead(xml("<string>" + repeated("&amp;", 1'000'000) + "</string>"))); // at once
    EXPECT_TRUE(isRead(xml(repeated("<array>", 1'000'000) + repeated("</array>", 1'000'000))));
    EXPECT_FALSE(isRead(xml("<array>" + repeated("<true/>", 2'000'001) + "</array>")));
    EXPECT_FALSE(isRead(xml("<dict>" + repeated("<key>a</key><true/>", 1025) + "</dict>")));
    EXPECT_FALSE(isRead(binary({"\xdf\x12" + bigEndian(1025, 4) + std::string(4100, '\0')})));
    EXPECT_TRUE(isRead(binary({"\xa1" + bigEndian(0, 2)}))); // contains itself, which reading does not mind
    const std::string wide = "\xaf\x12" + bigEndian(60'000, 4) + std::string(120'000, '\0');
    EXPECT_TRUE(isRead(binary({wide}, 30)));
    EXPECT_FALSE(isRead(binary({wide}, 40))) << "references without number";
    const std::string large = "\x4f\x12" + bigEndian(1 << 20, 4) + std::string(1 << 20, 'x');
    EXPECT_TRUE(isRead(binary({large}, 60)));
    EXPECT_FALSE(isRead(binary({large}, 70))) << "a small file that fills the memory";
}

TEST(PropertyList, BrokenBinaryListsAreRefused) {
    const std::vector<std::string> bad = {
        "\xa1" + bigEndian(7, 2),              // leads nowhere
        "\x5f\x13" + bigEndian(~0ULL, 8),      // lengths that overflow
        "\xaf\x13" + bigEndian(1ULL << 63, 8), //
        "\x5f\x50",                            // a length that is no number
        "\x57short",                           //
        "\x51\xff",                            // not ASCII
        "\x14" + std::string(16, '\0'),        // an integer of 128 bits
        "\x33" + std::string(8, '\0'),         // a date
        "\xf0",
    };
    for (const auto& object : bad)
        EXPECT_FALSE(isRead(binary({object}))) << object;

    const std::string good = binary({"\xa0"});
    ASSERT_TRUE(isRead(good));
    for (std::size_t i = good.size() - 26; i < good.size();
         ++i) { // each number of the trailer at its largest
        std::string broken = good;
        broken[i] = '\xff';
        EXPECT_FALSE(isRead(broken)) << i;
    }
}

} // namespace tarvo
