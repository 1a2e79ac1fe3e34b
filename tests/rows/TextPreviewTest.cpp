// What is text is shown in its encoding, and what is none is not.
#include "rows/TextPreview.h"

#include <QStringList>

#include <gtest/gtest.h>

namespace tarvo {

TEST(TextPreview, TakesTheEncodingFromTheBytes) {
    using namespace std::string_view_literals;
    const std::pair<std::string_view, QString> cases[] = {
        {"a\tb\r\nc"sv, QStringLiteral("a\tb\nc")},
        {"gr\xC3\xBC\xC3"sv, QStringLiteral("gr\u00FC")}, // cut off within a character
        {"gr\xFC\xDF"sv, QStringLiteral("gr\u00FC\u00DF")},
        {"\xEF\xBB\xBFx"sv, QStringLiteral("x")},
        {"\xFF\xFEx\0y\0"sv, QStringLiteral("xy")},
        {"<b>x</b>\x1b[31m"sv, QStringLiteral("<b>x</b>\uFFFD[31m")},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(textOf(bytes).value_or(QString()).toStdString(), text.toStdString());
    for (const auto binary : {"\x7f"
                              "ELF\x02\x01\0\0"sv,
                              "\x01\x02\x03\x04"sv,
                              "\xFF\xFE"
                              "a\0\0\0"sv})
        EXPECT_FALSE(textOf(binary));
}

TEST(TextPreview, BreaksALineThatIsTooLongForAView) {
    const auto text = textOf(std::string(65'536, 'x'));
    ASSERT_TRUE(text);
    for (const auto& line : text->split(u'\n'))
        EXPECT_LE(line.size(), 2'000);
    EXPECT_EQ(text->count(u'x'), 65'536);
}

} // namespace tarvo
