// Property lists made to break a parser are stopped at the door, quickly.
#include "base/PropertyListGuard.h"

#include <vector>

#include <QByteArray>
#include <gtest/gtest.h>

namespace tarvo {

namespace {

std::string xml(const std::string& value) {
    return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + value + "</plist>\n";
}

std::string repeated(const std::string& text, std::size_t times) {
    return QByteArray::fromStdString(text).repeated(static_cast<qsizetype>(times)).toStdString();
}

std::string bigEndian(std::uint64_t value, int size) {
    std::string bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

/// A binary list of the given objects, the first one being the root. References take two bytes, offsets four.
std::string binary(const std::vector<std::string>& objects) {
    std::string bytes = "bplist00";
    std::string table;
    for (const auto& object : objects) {
        table += bigEndian(bytes.size(), 4);
        bytes += object;
    }
    const std::size_t at = bytes.size();
    return bytes + table + std::string(6, '\0') + "\4\2" + bigEndian(objects.size(), 8) + bigEndian(0, 8) +
           bigEndian(at, 8);
}

/// An array of `count` references to object `target`.
std::string arrayOf(std::uint64_t target, std::uint64_t count = 1) {
    return "\xaf\x12" + bigEndian(count, 4) + repeated(bigEndian(target, 2), count);
}

/// The innermost array of a row of `depth` arrays.
std::vector<std::string> nested(std::size_t depth, std::uint64_t width = 1) {
    std::vector<std::string> objects;
    for (std::size_t i = 1; i < depth; ++i)
        objects.push_back(arrayOf(i, width));
    objects.push_back("\xa0");
    return objects;
}

bool passes(const std::string& bytes) {
    return judgePropertyList(bytes).has_value();
}

} // namespace

TEST(PropertyListGuard, PlainListsPass) {
    EXPECT_EQ(judgePropertyList(xml("<dict><key>a&amp;b</key><integer>-1</integer></dict>")),
              PropertyListFormat::Xml);
    EXPECT_TRUE(passes("<plist>\n<array><data>\nAA==\n</data><string>&#233;</string><string/><real>1e3</"
                       "real></array></plist>"));
    EXPECT_EQ(judgePropertyList(binary({"\xd1" + bigEndian(1, 2) + bigEndian(2, 2), "\x51k", "\x80\x01"})),
              PropertyListFormat::Binary);
}

TEST(PropertyListGuard, XmlThatIsMoreThanAList) {
    const std::vector<std::string> bad = {
        xml("<!-- comment --><dict/>"),
        xml("<string><![CDATA[x]]></string>"),
        "<!DOCTYPE plist [<!ENTITY a \"b\">]>" + xml("<dict/>"),
        xml("<dict/>") + "<!-- after -->",
        xml(""),
        xml("<dict><key>a</key></dict>"),
        xml("<dict><string>a</string></dict>"),
        xml("<string>a<string>b</string></string>"),
        xml("<date>2020-01-01T00:00:00Z</date>"),
        xml("<string>&unknown;</string>"),
        xml("<string>&#0;</string>"),
        xml("<string>\xff</string>"),
        xml(std::string("<string>\0</string>", 18)),
        xml("<data>A*==</data>"),
    };
    for (const auto& bytes : bad)
        EXPECT_FALSE(passes(bytes)) << bytes;
    for (const std::string number : {"", "010", "0x10", "+1", "1.5", "9223372036854775808"})
        EXPECT_FALSE(passes(xml("<integer>" + number + "</integer>"))) << number;
}

TEST(PropertyListGuard, NestingAndSizeAreBounded) {
    const auto nestedXml = [](std::size_t depth) {
        return xml(repeated("<array>", depth) + repeated("</array>", depth));
    };
    EXPECT_TRUE(passes(nestedXml(64)));
    EXPECT_FALSE(passes(nestedXml(65)));
    EXPECT_FALSE(passes(nestedXml(3'000'000)));
    EXPECT_FALSE(passes(xml("<array>" + repeated("<true/>", 2'000'001) + "</array>")));
    EXPECT_FALSE(passes(xml("<dict>" + repeated("<key>a</key><true/>", 1025) + "</dict>")));
    EXPECT_TRUE(passes(xml("<string>" + repeated("&amp;", 10'000) + "</string>")));
    EXPECT_FALSE(
        passes(xml("<string>" + repeated("&amp;", 1'000'000) + "</string>"))); // quadratic behind the door

    EXPECT_TRUE(passes(binary(nested(64))));
    EXPECT_FALSE(passes(binary(nested(65))));
    // Deep by a shared branch that was first met higher up.
    auto branch = nested(60);
    branch[0] = "\xa2" + bigEndian(30, 2) + bigEndian(1, 2);
    EXPECT_TRUE(passes(binary(branch)));
    branch.back() = arrayOf(60);
    for (std::uint64_t i = 60; i < 70; ++i)
        branch.push_back(arrayOf(i + 1));
    branch.push_back("\xa0");
    EXPECT_FALSE(passes(binary(branch)));
}

TEST(PropertyListGuard, SharingCannotMultiply) {
    EXPECT_FALSE(passes(binary(nested(40, 2)))); // 2^40 arrays when written out
    EXPECT_FALSE(
        passes(binary({arrayOf(1, 2000), "\x4f\x12" + bigEndian(1 << 20, 4) + std::string(1 << 20, 'x')})));

    // Many objects which are the same bytes.
    std::string bytes = "bplist00" + arrayOf(1, 60'000);
    const std::string offsets = bigEndian(8, 4) + repeated(bigEndian(8, 4), 60'000);
    const std::size_t at = bytes.size();
    bytes +=
        offsets + std::string(6, '\0') + "\4\2" + bigEndian(60'001, 8) + bigEndian(0, 8) + bigEndian(at, 8);
    EXPECT_FALSE(passes(bytes));
}

TEST(PropertyListGuard, BrokenBinaryLists) {
    const std::string key = "\x51k";
    const std::vector<std::vector<std::string>> bad = {
        {arrayOf(0)},                                         // contains itself
        {arrayOf(7)},                                         // leads nowhere
        {"\xd1" + bigEndian(1, 2) + bigEndian(0, 2), key},    // contains itself as a value
        {"\xd1" + bigEndian(1, 2) + bigEndian(1, 2), "\x08"}, // a key that is no text
        {"\xd1" + bigEndian(1, 2) + bigEndian(1, 2), "\x50"}, // an empty key
        {"\x5f\x13" + bigEndian(~0ULL, 8)},                   // lengths that overflow
        {"\xaf\x13" + bigEndian(1ULL << 63, 8)},
        {"\xdf\x12" + bigEndian(1025, 4) + std::string(4100, '\0')},
        {"\x5f\x50"}, // a length that is no number
        {"\x57short"},
        {"\x51\xff"},                     // not ASCII
        {"\x14" + std::string(16, '\0')}, // an integer of 128 bits
        {"\x33" + std::string(8, '\0')},  // a date
        {"\xf0"},
    };
    for (std::size_t i = 0; i < bad.size(); ++i)
        EXPECT_FALSE(passes(binary(bad[i]))) << i;

    const std::string good = binary({"\xa0"});
    ASSERT_TRUE(passes(good));
    for (std::size_t i = good.size() - 26; i < good.size();
         ++i) { // each number of the trailer at its largest
        std::string broken = good;
        broken[i] = '\xff';
        EXPECT_FALSE(passes(broken)) << i;
    }
}

} // namespace tarvo
