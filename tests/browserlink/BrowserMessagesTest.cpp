// What the application and its browser tell each other, and what is no message.
#include "browserlink/BrowserLines.h"
#include "browserlink/MessageLines.h"

#include <vector>

#include <gtest/gtest.h>

namespace tarvo::test {

TEST(BrowserMessages, WhatIsWrittenIsReadAgain) {
    const CookieFacts cookie{"näme",   std::string("\xff\xfe \"=\\", 6), ".example.org", "/a b", true, true,
                             1LL << 40};
    const FromBrowser fromBrowser[] = {
        CookieAdded{cookie}, DownloadBegan{7, 1, "http://h/ä", "", "GET", "a\nb", "x/y", "/tmp/\xe4", 0},
        DownloadEnded{7, true, 12, "reason"}, AskCredentials{1, "https://h/", true}};
    for (const auto& message : fromBrowser) {
        const std::string line = lineOf(message);
        ASSERT_EQ(line.find('\n'), line.size() - 1) << "one message is one line";
        EXPECT_EQ(fromBrowserOf(std::string_view(line).substr(0, line.size() - 1)), message) << line;
    }
    const ToBrowser open = OpenPage{3, "http://h/", "/tmp"};
    EXPECT_EQ(toBrowserOf(lineOf(open)), open);
    EXPECT_EQ(fromBrowserOf(lineOf(open)), std::nullopt) << "not in this direction";
}

TEST(BrowserMessages, WhatIsNotWhollyAsItShouldBeIsNoMessage) {
    const std::string tooLong(kLongestBrowserText + 1, 'x');
    for (const std::string& line :
         {std::string("{}"), std::string("[]"), std::string("hello"), std::string(R"({"message":"close"})"),
          std::string(R"({"message":"close","visit":-1})"), std::string(R"({"message":"close","visit":1.5})"),
          std::string(R"({"message":"close","visit":1e300})"),
          std::string(R"({"message":"close","visit":"1"})"),
          R"({"message":"open","visit":1,"folder":"/","url":")" + tooLong + "\"}",
          std::string(R"({"message":"open","visit":1,"url":"","folder":"\u0100"})")})
        EXPECT_EQ(toBrowserOf(line), std::nullopt) << line.substr(0, 80);
    EXPECT_TRUE(toBrowserOf(R"({"message":"close","visit":1,"unknown":[]})"))
        << "a later field is passed over";
}

TEST(BrowserLines, LinesComeWholeAndNothingComesAfterOneThatIsTooLong) {
    BrowserLines lines;
    std::vector<std::string> taken;
    const auto take = [&taken](std::string_view line) {
        taken.emplace_back(line);
        return true;
    };
    EXPECT_TRUE(lines.add("one\ntw", take));
    EXPECT_TRUE(lines.add("o\n\n", take));
    EXPECT_EQ(taken, (std::vector<std::string>{"one", "two", ""}));
    EXPECT_FALSE(lines.add(std::string(kLongestBrowserLine + 1, 'x'), take));
    EXPECT_FALSE(lines.add("\nfour\n", take));
    EXPECT_EQ(taken.size(), 3u);
}

} // namespace tarvo::test
