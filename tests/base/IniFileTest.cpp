// What is written here, QSettings reads: as every other program and earlier versions do.
#include "base/IniFile.h"

#include <QPoint>
#include <gtest/gtest.h>

#include "support/TemporaryFolder.h"

namespace tarvo {

TEST(IniFile, EveryValueIsReadBackAsItWas) {
    QByteArray bytes;
    for (int i = 0; i < 70000; ++i)
        bytes += static_cast<char>((i * 7) ^ (i >> 8));
    QString odd;
    for (char16_t code : {u'\0', u'1', u'\n', u'f', u'\x7f', u'"', u'\\', u'é', u'9', u'€', u'a', u' '})
        odd += QChar(code);
    const std::map<std::string, QVariant> values{
        {"Bytes", bytes},
        {"Text", odd},
        {"Empty", QString()},
        {"Spaces", "  a, b; c=d  "},
        {"At", "@ByteArray(no)"},
        {"Map", QVariantMap{{"a", 1LL << 40}, {"b", "text"}}},
        {"List", QStringList{"a, b", "@c", ""}},
        {"Mixed", QVariantList{QByteArray("\xff\0)", 3), "text"}},
        {"OneElement", QStringList{"only"}},
        {"Point", QPoint(3, -4)},
        {"Ключ %/[=]", "key"},
        {"section/key", "in a section"},
        {"section/a/b", "deeper"},
        {"General/key", "not the same as the plain key"},
        {"GENERAL/key", "nor the same as that"},
        {"key", "plain"},
    };
    const test::TemporaryFolder folder;
    const auto content = readIniFile(folder.write("a.conf", iniText(values)));
    ASSERT_TRUE(content);
    EXPECT_TRUE(content->isWhole);
    EXPECT_EQ(content->values.size(), values.size());
    for (const auto& [key, value] : values) {
        ASSERT_TRUE(content->values.contains(key)) << key;
        EXPECT_TRUE(content->values.at(key) == value) << key;
    }
    EXPECT_EQ(iniText(content->values), iniText(values)) << "written again it stays as it is";
}

TEST(IniFile, NumbersAndTruthValuesAreReadBackAsText) {
    const test::TemporaryFolder folder;
    const auto content = readIniFile(folder.write(
        "a.conf", iniText({{"N", -5000000000LL}, {"U", 7u}, {"T", true}, {"F", false}, {"D", 0.5}})));
    ASSERT_TRUE(content);
    const std::map<std::string, QVariant> texts{
        {"N", "-5000000000"}, {"U", "7"}, {"T", "true"}, {"F", "false"}, {"D", "0.5"}};
    EXPECT_TRUE(content->values == texts);
}

TEST(IniFile, AKeyThatCannotBeLookedUpHidesNoOther) {
    const test::TemporaryFolder folder;
    const auto content = readIniFile(folder.write("a.conf", "key=1\n[]\nkey=2\n[s]\n\\key=3\nkey\\=4\n"));
    ASSERT_TRUE(content);
    EXPECT_FALSE(content->isWhole);
    EXPECT_TRUE(content->values == (std::map<std::string, QVariant>{{"key", "1"}}));
}

TEST(IniFile, NoFileHoldsNothingAndAnUnreadableOneIsAnError) {
    const test::TemporaryFolder folder;
    EXPECT_TRUE(readIniFile(folder.path("none.conf"))->values.empty());
    std::filesystem::create_directory(folder.path("folder.conf"));
    EXPECT_FALSE(readIniFile(folder.path("folder.conf")));
}

} // namespace tarvo
