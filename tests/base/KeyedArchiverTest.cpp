// Keyed archives: what is written is read back, other writers' files are read, and no file does harm.
#include "base/KeyedArchiver.h"
#include "base/KeyedUnarchiver.h"

#include <functional>
#include <limits>

#include <gtest/gtest.h>

namespace tarvo {

namespace {

/// Something with a number and, perhaps, others of its kind.
struct Leaf : Archivable {
    explicit Leaf(std::int64_t value, std::shared_ptr<const Archivable> other = nullptr)
        : number(value), next(std::move(other)) {}

    std::string archivedClassName() const override { return "Leaf"; }

    void encode(KeyedArchiver& archiver) const override {
        archiver.encodeInteger("number", number);
        archiver.encodeObject("next", next);
    }

    std::int64_t number;
    std::shared_ptr<const Archivable> next;
};

std::shared_ptr<Leaf> leaf(std::int64_t number, std::shared_ptr<const Archivable> next = nullptr) {
    return std::make_shared<Leaf>(number, std::move(next));
}

Result<std::shared_ptr<Archivable>> makeLeaf(KeyedUnarchiver& unarchiver) {
    return leaf(unarchiver.decodeInteger("number"), unarchiver.decodeObject("next"));
}

/// The reader of an archive that must open.
std::unique_ptr<KeyedUnarchiver> opened(std::string_view bytes) {
    auto unarchiver = KeyedUnarchiver::open(bytes);
    if (!unarchiver)
        throw std::runtime_error(unarchiver.error().sentence());
    (*unarchiver)->registerClass("Leaf", makeLeaf);
    return std::move(*unarchiver);
}

std::int64_t numberOf(const std::shared_ptr<const Archivable>& object) {
    auto found = std::dynamic_pointer_cast<const Leaf>(object);
    return found ? found->number : -1;
}

/// An archive in XML whose table and top-level keys are the given elements.
std::string archive(const std::string& objects, const std::string& top) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
    <key>$archiver</key><string>NSKeyedArchiver</string>
    <key>$objects</key><array><string>$null</string>)" +
           objects + "</array>\n<key>$top</key><dict>" + top +
           "</dict>\n<key>$version</key><integer>100000</integer>\n</dict></plist>\n";
}

std::string uid(int number) {
    return "<dict><key>CF$UID</key><integer>" + std::to_string(number) + "</integer></dict>";
}

std::string keyed(const std::string& key, const std::string& value) {
    return "<key>" + key + "</key>" + value;
}

/// An object whose class is the table's entry of this number.
std::string object(int classNumber, const std::string& values) {
    return "<dict>" + keyed("$class", uid(classNumber)) + values + "</dict>";
}

std::string classRecord(const std::string& name, const std::string& parent = "NSObject") {
    return "<dict><key>$classes</key><array><string>" + name + "</string><string>" + parent +
           "</string></array><key>$classname</key><string>" + name + "</string></dict>";
}

} // namespace

class KeyedArchive : public ::testing::TestWithParam<KeyedArchiver::Format> {};

INSTANTIATE_TEST_SUITE_P(Formats, KeyedArchive,
                         ::testing::Values(KeyedArchiver::Format::Xml, KeyedArchiver::Format::Binary));

TEST_P(KeyedArchive, PlainValuesReturnUnchangedAndWhatNoListCanHoldIsReplaced) {
    using Limits = std::numeric_limits<std::int64_t>;
    const std::int64_t numbers[] = {0, -1, 255, 256, 1LL << 32, -(1LL << 32), Limits::min(), Limits::max()};
    const std::string texts[] = {"", " ", "a<b>&amp;\"c'", "two\nlines\tand\rmore", "Größe 漢字 🎈"};
    const std::string data("\0\x01\xff<>&", 6);
    const auto url = Url::parse("http://us%40er:pw@host/ä b?x=1&y=%26");
    KeyedArchiver archiver(GetParam());
    for (const auto number : numbers)
        archiver.encodeInteger(std::to_string(number), number);
    for (const auto& text : texts)
        archiver.encodeString("t" + std::to_string(text.size()), text);
    archiver.encodeString("broken", std::string_view("a\0b\033c\xff", 6));
    archiver.encodeData("data", data);
    archiver.encodeUrl("url", url);

    const auto unarchiver = opened(archiver.finish());
    for (const auto number : numbers)
        EXPECT_EQ(unarchiver->decodeInteger(std::to_string(number)), number);
    for (const auto& text : texts)
        EXPECT_EQ(unarchiver->decodeString("t" + std::to_string(text.size())), text);
    EXPECT_EQ(unarchiver->decodeString("broken"), "a\uFFFDb\uFFFDc\uFFFD");
    EXPECT_EQ(unarchiver->decodeData("data"), data);
    EXPECT_EQ(unarchiver->decodeUrl("url"), url);
    EXPECT_FALSE(unarchiver->firstError());
}

TEST_P(KeyedArchive, AnObjectMetTwiceIsWrittenOnceAndMadeOnce) {
    const auto shared = leaf(7);
    std::vector<std::shared_ptr<const Archivable>> many = {shared, leaf(8, shared), shared};
    for (int i = 0; i < 70000; ++i) // past the sizes of one and two bytes for references and offsets
        many.push_back(leaf(1000 + i));
    KeyedArchiver archiver(GetParam());
    archiver.encodeObject("one", shared);
    archiver.encodeArray("many", many);

    const auto unarchiver = opened(archiver.finish());
    const auto one = unarchiver->decodeObject("one");
    EXPECT_EQ(numberOf(one), 7);
    const auto read = unarchiver->decodeArray("many");
    ASSERT_TRUE(read && read->size() == many.size());
    EXPECT_EQ(numberOf((*read)[1]), 8);
    EXPECT_EQ((*read)[2], one);
    EXPECT_EQ(numberOf(read->back()), 70999);
    EXPECT_FALSE(unarchiver->firstError());
}

TEST(KeyedUnarchiver, ReadsAnotherWritersFile) {
    const std::string objects =
        object(2, keyed("NS.base", uid(3)) + keyed("NS.relative", uid(4))) + classRecord("NSURL") +
        object(2, keyed("NS.base", uid(0)) + keyed("NS.relative", uid(5))) +
        "<string>../b&#x20ac;.iso</string><string>http://mirror.example/a/list/</string>" +
        object(7, keyed("NS.objects", "<array>" + uid(8) + uid(10) + "</array>")) +
        classRecord("NSMutableArray", "NSArray") +
        object(9, keyed("number", "<integer>-4611686018427387904</integer>")) +
        classRecord("SpecialLeaf", "Leaf") + object(9, keyed("number", uid(15))) +
        object(12, keyed("NS.string", "<string>a &lt; b</string>")) +
        classRecord("NSMutableString", "NSString") +
        object(14, keyed("NS.data", "<data>\n\tAAEC\n\t/w==\n</data>")) +
        classRecord("NSMutableData", "NSData") + "<integer>12</integer>";
    const auto unarchiver = opened(archive(objects, keyed("URL", uid(1)) + keyed("list", uid(6)) +
                                                        keyed("text", uid(11)) + keyed("data", uid(13))));
    EXPECT_EQ(unarchiver->decodeUrl("URL"), Url::parse("http://mirror.example/a/b€.iso"));
    const auto list = unarchiver->decodeArray("list");
    ASSERT_TRUE(list && list->size() == 2u);
    EXPECT_EQ(numberOf((*list)[0]), -4611686018427387904);
    EXPECT_EQ(numberOf((*list)[1]), 12);
    EXPECT_EQ(unarchiver->decodeString("text"), "a < b");
    EXPECT_EQ(unarchiver->decodeData("data"), std::string("\0\x01\x02\xff", 4));
    EXPECT_FALSE(unarchiver->firstError());
}

TEST(KeyedUnarchiver, AnotherArchiverOrVersionIsRefused) {
    const std::string good = archive("", "");
    EXPECT_TRUE(KeyedUnarchiver::open(good));
    for (const std::string part : {"NSKeyedArchiver", "100000"}) {
        std::string bad = good;
        EXPECT_FALSE(KeyedUnarchiver::open(bad.replace(bad.find(part), part.size(), "100001"))) << part;
    }
}

TEST(KeyedUnarchiver, EveryWrongKindReadsAsNothingAndIsRemembered) {
    using Read = std::function<bool(KeyedUnarchiver&)>; // whether something was read
    const std::vector<Read> reads = {
        [](auto& from) { return from.decodeInteger("key") != 0; },
        [](auto& from) { return from.decodeString("key").has_value(); },
        [](auto& from) { return from.decodeData("key").has_value(); },
        [](auto& from) { return from.decodeUrl("key").has_value(); },
        [](auto& from) { return from.decodeArray("key").has_value(); },
        [](auto& from) { return from.decodeObject("key") != nullptr; },
    };
    const std::pair<std::string, std::vector<int>> cases[] = {
        {"<string>plain</string>", {0, 2, 3, 4, 5}},
        {uid(99), {0, 1, 2, 3, 4, 5}},
        {uid(-1), {0, 1, 2, 3, 4, 5}},
        {object(2, keyed("NS.objects", uid(1))), {4, 1}},
        {object(3, keyed("NS.relative", uid(1)) + keyed("NS.base", uid(1))), {3}},
        {object(3, keyed("NS.relative", "<string>x</string>") + keyed("NS.base", uid(4))), {3}}, // itself
    };
    for (const auto& [value, wrong] : cases) {
        const std::string bytes =
            archive(uid(1) + classRecord("NSArray") + classRecord("NSURL") + value, keyed("key", uid(4)));
        for (const int read : wrong) {
            const auto unarchiver = opened(bytes);
            EXPECT_FALSE(reads[read](*unarchiver)) << value;
            EXPECT_TRUE(unarchiver->firstError()) << value;
        }
    }
}

TEST(KeyedUnarchiver, WhatCannotBeMadeIsNothingAndRemembered) {
    const auto unarchiver = opened(archive(object(2, "") + classRecord("Stranger"), keyed("key", uid(1))));
    unarchiver->registerClass("Stranger", [](KeyedUnarchiver&) -> Result<std::shared_ptr<Archivable>> {
        return failure(Error{"test", 666, "no such leaf", {}});
    });
    EXPECT_EQ(unarchiver->decodeObject("key"), nullptr);
    ASSERT_TRUE(unarchiver->firstError());
    EXPECT_EQ(unarchiver->firstError()->code, 666);
}

TEST(KeyedUnarchiver, CirclesLongChainsAndMuchSharingEnd) {
    std::string chain = classRecord("Leaf");
    for (int i = 2; i < 20000; ++i)
        chain += object(1, keyed("next", uid(i + 1)));
    for (const std::string& objects :
         {classRecord("Leaf") + object(1, keyed("next", uid(2))), chain + "<true/>"}) {
        const auto endless = opened(archive(objects, keyed("key", uid(2))));
        EXPECT_NE(endless->decodeObject("key"), nullptr); // without the next one where it went too far
        EXPECT_TRUE(endless->firstError());
    }
    const auto large =
        opened(archive("<string>" + std::string(1 << 20, 'x') + "</string>", keyed("key", uid(1))));
    int read = 0;
    while (read < 1000 && large->decodeString("key"))
        ++read;
    EXPECT_LT(read, 1000);
    EXPECT_TRUE(large->firstError());
}

} // namespace tarvo
