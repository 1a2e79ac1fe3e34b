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
    std::int64_t number = 0;
    std::shared_ptr<const Archivable> next;

    std::string archivedClassName() const override { return "Leaf"; }

    void encode(KeyedArchiver& archiver) const override {
        archiver.encodeInteger("number", number);
        archiver.encodeObject("next", next);
    }
};

std::shared_ptr<Leaf> leaf(std::int64_t number, std::shared_ptr<const Archivable> next = nullptr) {
    auto made = std::make_shared<Leaf>();
    made->number = number;
    made->next = std::move(next);
    return made;
}

Result<std::shared_ptr<Archivable>> makeLeaf(KeyedUnarchiver& unarchiver) {
    auto made = leaf(unarchiver.decodeInteger("number"), unarchiver.decodeObject("next"));
    if (made->number == 666)
        return failure(Error{"test", 666, "no such leaf", {}});
    return made;
}

std::unique_ptr<KeyedUnarchiver> opened(std::string_view bytes) {
    auto unarchiver = KeyedUnarchiver::open(bytes);
    if (!unarchiver) {
        ADD_FAILURE() << unarchiver.error().sentence();
        return nullptr;
    }
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

std::string classRecord(const std::string& name, const std::string& parent = "NSObject") {
    return "<dict><key>$classes</key><array><string>" + name + "</string><string>" + parent +
           "</string></array><key>$classname</key><string>" + name + "</string></dict>";
}

const std::string kLeafClass = classRecord("Leaf");

} // namespace

class KeyedArchive : public ::testing::TestWithParam<KeyedArchiver::Format> {};

INSTANTIATE_TEST_SUITE_P(Formats, KeyedArchive,
                         ::testing::Values(KeyedArchiver::Format::Xml, KeyedArchiver::Format::Binary),
                         [](const auto& format) {
                             return std::string(format.param == KeyedArchiver::Format::Xml ? "Xml"
                                                                                           : "Binary");
                         });

TEST_P(KeyedArchive, PlainValuesReturnUnchanged) {
    const std::vector<std::int64_t> numbers = {0,
                                               1,
                                               -1,
                                               255,
                                               256,
                                               65536,
                                               1LL << 24,
                                               1LL << 32,
                                               -(1LL << 32),
                                               std::numeric_limits<std::int64_t>::min(),
                                               std::numeric_limits<std::int64_t>::max()};
    const std::vector<std::string> texts = {
        "", " ", "plain", "a<b>&amp;\"c'", "two\nlines\tand\rmore", "Größe 漢字 🎈"};
    const std::string data("\0\x01\xff<>&", 6);

    KeyedArchiver archiver(GetParam());
    for (std::size_t i = 0; i < numbers.size(); ++i)
        archiver.encodeInteger("n" + std::to_string(i), numbers[i]);
    for (std::size_t i = 0; i < texts.size(); ++i)
        archiver.encodeString("t" + std::to_string(i), texts[i]);
    archiver.encodeData("data", data);
    archiver.encodeData("no data", "");
    archiver.encodeUrl("url", Url::parse("http://us%40er:pw@host/ä b?x=1&y=%26"));
    archiver.encodeUrl("no url", std::nullopt);

    const auto unarchiver = opened(archiver.finish());
    ASSERT_TRUE(unarchiver);
    for (std::size_t i = 0; i < numbers.size(); ++i)
        EXPECT_EQ(unarchiver->decodeInteger("n" + std::to_string(i)), numbers[i]);
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(unarchiver->decodeString("t" + std::to_string(i)), texts[i]);
    EXPECT_EQ(unarchiver->decodeData("data"), data);
    EXPECT_EQ(unarchiver->decodeData("no data"), "");
    EXPECT_EQ(unarchiver->decodeUrl("url"), Url::parse("http://us%40er:pw@host/ä b?x=1&y=%26"));
    EXPECT_EQ(unarchiver->decodeUrl("no url"), std::nullopt);
    EXPECT_TRUE(unarchiver->contains("no url"));
    EXPECT_FALSE(unarchiver->contains("nothing"));
    EXPECT_EQ(unarchiver->decodeInteger("nothing"), 0);
    EXPECT_EQ(unarchiver->decodeString("nothing"), std::nullopt);
    EXPECT_FALSE(unarchiver->firstError());
}

TEST_P(KeyedArchive, WhatNoListCanHoldIsReplacedNotBroken) {
    KeyedArchiver archiver(GetParam());
    archiver.encodeString("text", std::string_view("a\0b\x1b"
                                                   "c\xff",
                                                   6));
    const auto unarchiver = opened(archiver.finish());
    ASSERT_TRUE(unarchiver);
    EXPECT_EQ(unarchiver->decodeString("text"), "a\uFFFDb\uFFFDc\uFFFD");
}

TEST_P(KeyedArchive, AnObjectMetTwiceIsWrittenOnceAndMadeOnce) {
    const auto shared = leaf(7);
    std::vector<std::shared_ptr<const Archivable>> many = {shared, leaf(8, shared), shared};
    for (int i = 0; i < 70000; ++i) // past the sizes of one and two bytes for references and offsets
        many.push_back(leaf(1000 + i));
    KeyedArchiver archiver(GetParam());
    archiver.encodeObject("one", shared);
    archiver.encodeObject("none", nullptr);
    archiver.encodeArray("many", many);
    archiver.encodeArray("empty", {});
    const std::string bytes = archiver.finish();

    const auto unarchiver = opened(bytes);
    ASSERT_TRUE(unarchiver);
    const auto one = unarchiver->decodeObject("one");
    EXPECT_EQ(numberOf(one), 7);
    EXPECT_EQ(unarchiver->decodeObject("none"), nullptr);
    const auto read = unarchiver->decodeArray("many");
    ASSERT_TRUE(read);
    ASSERT_EQ(read->size(), 70003u);
    EXPECT_EQ((*read)[0], one);
    EXPECT_EQ(numberOf((*read)[1]), 8);
    EXPECT_EQ((*read)[2], one);
    EXPECT_EQ(numberOf(read->back()), 70999);
    EXPECT_EQ(unarchiver->decodeArray("empty")->size(), 0u);
    EXPECT_FALSE(unarchiver->firstError());
    if (GetParam() == KeyedArchiver::Format::Xml) {
        const std::size_t first = bytes.find("$classname");
        const std::size_t second = bytes.find("$classname", first + 1);
        EXPECT_EQ(second, bytes.rfind("$classname")); // Leaf and NSArray
    }
}

TEST_P(KeyedArchive, CutOffAnywhereItIsRefused) {
    KeyedArchiver archiver(GetParam());
    archiver.encodeUrl("URL", Url::parse("http://host/ä"));
    archiver.encodeArray("leaves", {leaf(1), leaf(-2)});
    archiver.encodeData("data", "bytes");
    std::string bytes = archiver.finish();
    bytes.resize(bytes.find_last_not_of('\n') + 1);
    ASSERT_TRUE(KeyedUnarchiver::open(bytes));
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const std::string cut = bytes.substr(0, length); // a copy, so that a sanitizer sees its end
        const auto unarchiver = KeyedUnarchiver::open(cut);
        ASSERT_FALSE(unarchiver) << length;
        EXPECT_TRUE(unarchiver.error().is(ErrorDomain::Tarvo, 0));
    }
}

TEST_P(KeyedArchive, NoFlippedBitDoesHarm) {
    KeyedArchiver archiver(GetParam());
    archiver.encodeUrl("URL", Url::parse("http://host/ä"));
    archiver.encodeArray("leaves", {leaf(1, leaf(2)), leaf(-3)});
    archiver.encodeString("text", "Größe");
    const std::string bytes = archiver.finish();
    int refused = 0;
    int readWhole = 0;
    int lostInSilence = 0;
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        std::string flipped = bytes;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
        auto unarchiver = KeyedUnarchiver::open(flipped);
        if (!unarchiver) {
            ++refused;
            continue;
        }
        (*unarchiver)->registerClass("Leaf", makeLeaf);
        const auto leaves = (*unarchiver)->decodeArray("leaves");
        const auto url = (*unarchiver)->decodeUrl("URL");
        const auto text = (*unarchiver)->decodeString("text");
        const bool isWhole = leaves && leaves->size() == 2 && url && text;
        readWhole += isWhole;
        // A part that went missing has no key any more, or an error; or its reference became the null object.
        const bool isExplained = (*unarchiver)->firstError() || !(*unarchiver)->contains("leaves") ||
                                 !(*unarchiver)->contains("URL") || !(*unarchiver)->contains("text");
        lostInSilence += !isWhole && !isExplained;
    }
    EXPECT_LE(lostInSilence, 8);
    EXPECT_GT(refused, 100);
    EXPECT_GT(readWhole, 100);
}

TEST(KeyedUnarchiver, ReadsAnotherWritersFile) {
    const std::string objects =
        "<dict>" + keyed("$class", uid(2)) + keyed("NS.base", uid(3)) + keyed("NS.relative", uid(4)) +
        "</dict>" + classRecord("NSURL") + "<dict>" + keyed("$class", uid(2)) + keyed("NS.base", uid(0)) +
        keyed("NS.relative", uid(5)) + "</dict>" + "<string>../b&#x20ac;.iso</string>" +
        "<string>http://mirror.example/a/list/</string>" + "<dict>" + keyed("$class", uid(7)) +
        keyed("NS.objects", "<array>" + uid(8) + uid(10) + "</array>") + "</dict>" +
        classRecord("NSMutableArray", "NSArray") + "<dict>" + keyed("$class", uid(9)) +
        keyed("number", "<integer>-4611686018427387904</integer>") + "</dict>" +
        classRecord("SpecialLeaf", "Leaf") + "<dict>" + keyed("number", uid(15)) + keyed("$class", uid(9)) +
        "</dict>" + "<dict>" + keyed("$class", uid(12)) + keyed("NS.string", "<string>a &lt; b</string>") +
        "</dict>" + classRecord("NSMutableString", "NSString") + "<dict>" + keyed("$class", uid(14)) +
        keyed("NS.data", "<data>\n\tAAEC\n\t/w==\n</data>") + "</dict>" +
        classRecord("NSMutableData", "NSData") + "<integer>12</integer>";
    const auto unarchiver =
        opened(archive(objects, keyed("URL", uid(1)) + keyed("list", uid(6)) + keyed("text", uid(11)) +
                                    keyed("data", uid(13)) + keyed("yes", "<true/>")));
    ASSERT_TRUE(unarchiver);
    EXPECT_EQ(unarchiver->decodeUrl("URL"), Url::parse("http://mirror.example/a/b€.iso"));
    const auto list = unarchiver->decodeArray("list");
    ASSERT_TRUE(list);
    ASSERT_EQ(list->size(), 2u);
    EXPECT_EQ(numberOf((*list)[0]), -4611686018427387904);
    EXPECT_EQ(numberOf((*list)[1]), 12);
    EXPECT_EQ(unarchiver->decodeString("text"), "a < b");
    EXPECT_EQ(unarchiver->decodeData("data"), std::string("\0\x01\x02\xff", 4));
    EXPECT_EQ(unarchiver->decodeInteger("yes"), 1);
    EXPECT_FALSE(unarchiver->firstError());
}

TEST(KeyedUnarchiver, EveryWrongKindReadsAsNothingAndIsRemembered) {
    using Read = std::function<bool(KeyedUnarchiver&)>; // whether something was read
    const Read integer = [](auto& from) { return from.decodeInteger("key") != 0; };
    const Read text = [](auto& from) { return from.decodeString("key").has_value(); };
    const Read data = [](auto& from) { return from.decodeData("key").has_value(); };
    const Read url = [](auto& from) { return from.decodeUrl("key").has_value(); };
    const Read object = [](auto& from) { return from.decodeObject("key") != nullptr; };
    const Read array = [](auto& from) { return from.decodeArray("key").has_value(); };
    const std::vector<std::pair<std::string, std::vector<Read>>> cases = {
        {"<string>plain</string>", {integer, data, url, object, array}},
        {"<integer>5</integer>", {text, data, url, object, array}},
        {"<real>1.5</real>", {integer, text}},
        {"<data>AAAA</data>", {integer, text, url, object, array}},
        {"<array><integer>1</integer></array>", {integer, text, data, url, object, array}},
        {"<dict/>", {integer, text, data, url, array}},
        {uid(99), {integer, text, data, url, object, array}},
        {"<dict><key>CF$UID</key><integer>-1</integer></dict>", {integer, text, data, url, object, array}},
        {"<dict><key>CF$UID</key><string>1</string></dict>", {integer, text, data, url, object, array}},
        {"<dict>" + keyed("$class", uid(2)) + keyed("NS.objects", uid(1)) + "</dict>", {array, text}},
        {"<dict>" + keyed("$class", uid(3)) + keyed("NS.relative", uid(1)) + keyed("NS.base", uid(1)) +
             "</dict>",
         {url}},
        {"<dict>" + keyed("$class", uid(3)) + keyed("NS.base", uid(0)) + "</dict>", {url}},
    };
    for (const auto& [value, reads] : cases) {
        for (const bool isInline : {true, false}) {
            const std::string bytes = archive(uid(1) + classRecord("NSArray") + classRecord("NSURL") + value,
                                              keyed("key", isInline ? value : uid(4)));
            for (std::size_t i = 0; i < reads.size(); ++i) {
                const auto unarchiver = opened(bytes);
                ASSERT_TRUE(unarchiver);
                EXPECT_FALSE(reads[i](*unarchiver)) << value << " " << i;
                EXPECT_TRUE(unarchiver->firstError()) << value << " " << i;
            }
        }
    }
}

TEST(KeyedUnarchiver, WhatIsNoArchiveIsNotOpened) {
    const std::string good = archive("", "");
    ASSERT_TRUE(KeyedUnarchiver::open(good));
    const std::vector<std::pair<std::string, std::string>> changes = {
        {"NSKeyedArchiver", "NSArchiver"},
        {"100000", "200000"},
        {"$null", "null"},
        {"<string>$null</string>", ""},
        {"$top", "top"},
        {"<string>NSKeyedArchiver</string>", "<integer>1</integer>"},
    };
    for (const auto& [from, to] : changes) {
        std::string bad = good;
        bad.replace(bad.find(from), from.size(), to);
        EXPECT_FALSE(KeyedUnarchiver::open(bad)) << to;
    }
    EXPECT_FALSE(KeyedUnarchiver::open(""));
    EXPECT_FALSE(KeyedUnarchiver::open("<plist version=\"1.0\"><string>$null</string></plist>"));
}

TEST(KeyedUnarchiver, UnknownClassesAndFailedMakers) {
    const std::string objects = "<dict>" + keyed("$class", uid(2)) + keyed("number", "<integer>5</integer>") +
                                "</dict>" + classRecord("Stranger") + "<dict>" + keyed("$class", uid(4)) +
                                keyed("number", "<integer>666</integer>") + "</dict>" + kLeafClass +
                                "<dict>" + keyed("$class", uid(6)) +
                                keyed("NS.objects", "<array>" + uid(1) + "</array>") + "</dict>" +
                                classRecord("NSArray");
    const std::string bytes =
        archive(objects, keyed("stranger", uid(1)) + keyed("bad", uid(3)) + keyed("list", uid(5)));

    const auto lenient = opened(bytes);
    ASSERT_TRUE(lenient);
    EXPECT_EQ(lenient->decodeObject("stranger"), nullptr);
    EXPECT_FALSE(lenient->firstError()); // an object of another class is the caller's to judge
    const auto made = lenient->decodeArray("list", makeLeaf);
    ASSERT_TRUE(made && made->size() == 1u);
    EXPECT_EQ(numberOf(made->front()), 5);
    EXPECT_EQ(lenient->decodeObject("bad"), nullptr);
    ASSERT_TRUE(lenient->firstError());
    EXPECT_EQ(lenient->firstError()->code, 666);

    const auto strict = opened(bytes);
    ASSERT_TRUE(strict);
    EXPECT_EQ(strict->decodeArray("list")->size(), 0u);
    EXPECT_TRUE(strict->firstError());
}

TEST(KeyedUnarchiver, CirclesAndLongChainsEnd) {
    const auto circle =
        opened(archive("<dict>" + keyed("$class", uid(2)) + keyed("next", uid(1)) + "</dict>" + kLeafClass,
                       keyed("key", uid(1))));
    ASSERT_TRUE(circle);
    EXPECT_NE(circle->decodeObject("key"), nullptr); // without its next
    EXPECT_TRUE(circle->firstError());

    std::string chain = kLeafClass;
    for (int i = 2; i < 20000; ++i)
        chain += "<dict>" + keyed("$class", uid(1)) + keyed("next", uid(i + 1)) + "</dict>";
    const auto deep = opened(archive(chain + "<true/>", keyed("key", uid(2))));
    ASSERT_TRUE(deep);
    EXPECT_NE(deep->decodeObject("key"), nullptr);
    EXPECT_TRUE(deep->firstError());

    const auto urls =
        opened(archive(classRecord("NSURL") + "<string>x</string><dict>" + keyed("$class", uid(1)) +
                           keyed("NS.relative", uid(2)) + keyed("NS.base", uid(3)) + "</dict>",
                       keyed("key", uid(3))));
    ASSERT_TRUE(urls);
    EXPECT_EQ(urls->decodeUrl("key"), std::nullopt);
    EXPECT_TRUE(urls->firstError());
}

TEST(KeyedUnarchiver, ManyKeysToOneLargeTextDoNotMultiplyIt) {
    const auto unarchiver =
        opened(archive("<string>" + std::string(1 << 20, 'x') + "</string>", keyed("key", uid(1))));
    ASSERT_TRUE(unarchiver);
    int read = 0;
    while (read < 1000 && unarchiver->decodeString("key"))
        ++read;
    EXPECT_GT(read, 50);
    EXPECT_LT(read, 1000);
    EXPECT_TRUE(unarchiver->firstError());
}

} // namespace tarvo
