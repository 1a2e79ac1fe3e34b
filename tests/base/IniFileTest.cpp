// What is written here, QSettings reads: as every other program and earlier versions do.
#include "base/IniFile.h"

#include <gtest/gtest.h>

#include "support/TemporaryFolder.h"

namespace tarvo {

TEST(IniFile, EveryValueIsReadBackAsItWas) {
    QByteArray bytes;
    for (int i = 0; i < 70000; ++i)
        bytes += static_cast<char>((i * 7) ^ (i >> 8));
    std::map<std::string, QVariant> values{
        {"Bytes", bytes},
        {"Text", QString::fromUtf16(u"\0001\nf\x7f\"\\é9€a ", 12)},
        {"At", "@ByteArray(no)"},
        {"Map", QVariantMap{{"a", 1LL << 40}, {"b", "text"}}},
        {"List", QStringList{"a, b", "@c", ""}},
        {"Ключ %/[=]", "key"},
        {"section/a/b", "deeper"},
        {"General/key", "not the same as the plain key"},
        {"key", "plain"},
        {"Number", -5000000000LL},
    };
    const test::TemporaryFolder folder;
    const auto content = readIniFile(folder.write("a.conf", iniText(values)));
    ASSERT_TRUE(content);
    EXPECT_TRUE(content->isWhole);
    values["Number"] = "-5000000000"; // plain values are texts in the file
    EXPECT_TRUE(content->values == values);
}

TEST(IniFile, WhatCannotBeReadHidesNothingElse) {
    const test::TemporaryFolder folder;
    const auto content = readIniFile(folder.write("a.conf", "key=1\n[]\nkey=2\n[s]\n\\key=3\nkey\\=4\n"));
    ASSERT_TRUE(content);
    EXPECT_FALSE(content->isWhole);
    EXPECT_TRUE(content->values == (std::map<std::string, QVariant>{{"key", "1"}}));
}

} // namespace tarvo
