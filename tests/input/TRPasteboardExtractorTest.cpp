// Links are found in whatever a desktop hands over, also where it is made to stop the program.
#include "input/TRPasteboardExtractor.h"

#include <chrono>

#include <QByteArray>
#include <gtest/gtest.h>

#include "input/RTFLinks.h"

namespace tarvo {

using Texts = std::vector<std::string>;
using Extractor = TRPasteboardExtractor;

namespace {

Texts linksOf(const std::vector<MimeData>& data) {
    return Extractor::findURLsInPasteboard(pasteboardFromMimeData(data));
}

std::string repeated(const char* text, int times) {
    return QByteArray(text).repeated(times).toStdString();
}

} // namespace

TEST(FindURLsInHTML, ALinkStaysOneLine) {
    EXPECT_EQ(Extractor::findURLsInHTML(R"(<A class="x" HREF="http://a/?p=1&amp;&#10;http://b/&#13;&#9;c">)"),
              Texts{"http://a/?p=1&http://b/c"});
}

TEST(FindURLsInHTML, HostileTextCostsNoMoreThanItsLength) {
    const auto begin = std::chrono::steady_clock::now();
    constexpr int many = 300'000;
    EXPECT_TRUE(Extractor::findURLsInHTML(repeated("<a href=\"", many)).empty());
    EXPECT_TRUE(Extractor::findURLsInHTML("<a href=\"x" + repeated("\"", many)).empty());
    EXPECT_EQ(Extractor::findURLsInHTML("<a href=\"" + repeated("&#x;", many) + "\">").size(), 1u);
    EXPECT_TRUE(linksOfRTF(repeated("{\\field", many)).empty());
    EXPECT_TRUE(linksOfRTF(repeated("{\\*\\fldinst HYPERLINK ", many)).empty());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30)); // squared, it were hours
}

TEST(LinksOfRTF, AreThoseOfItsFields) {
    const std::pair<const char*, Texts> cases[] = {
        {R"({\rtf1{\field{\*\fldinst HYPERLINK "http://a/x"}{\fldrslt http://not/}}})", {"http://a/x"}},
        {R"({\field{\*\fldinst{\rtlch\af0 hyperlink  }{"http://a/}{y"}}{\fldrslt y}}{\fldinst HYPERLINK ftp://b/})",
         {"http://a/y", "ftp://b/"}},
        {R"({\fldinst HYPERLINK \\o "a \\"tip" "http://a/" \\t "w" \\l "place"})", {"http://a/#place"}},
        {R"({\fldinst HYPERLINK \\l "place"}{\fldinst PAGEREF "http://a/"}{\fldinst HYPERLINK "page.html"})",
         {}},
        {R"({\fldinst HYPERLINK "http://a/\'7bx\'7D\u-10179?\u-8704\'3f"})",
         {"http://a/%7Bx%7D%F0%9F%98%80"}},
        {R"({\fldinst HYPERLINK "http://a/{\uc2\u233 ?!}\u232 ?!{\uc0\u234}z"})",
         {"http://a/%C3%A9%C3%A8!%C3%AAz"}},
        {"{\\fldinst HYPERLINK \"http://\r\na/\\bin3 }}}b\\~c\"}", {"http://a/b%20c"}},
    };
    for (const auto& [rtf, links] : cases)
        EXPECT_EQ(linksOfRTF(rtf), links) << rtf;
}

TEST(FindURLsInPasteboard, KeepsTheOrderOfItsSourcesAndEachLinkOnce) {
    EXPECT_EQ(linksOf({{"text/plain", "http://p/\nhttp://p/\r\n see <a href=\"http://h/\">\nmailto:x"},
                       {"application/rtf", R"({\fldinst HYPERLINK "http://r/"})"},
                       {"text/html", R"(<a href="http://h/"> <a href="http://r/">)"}}),
              (Texts{"http://h/", "http://r/", "http://p/"}));
}

TEST(PasteboardFromMimeData, ReadsTheFormsOfDesktops) {
    const std::string utf16("\xFF\xFEh\0t\0t\0p\0:\0/\0/\0a\0/\0", 20);
    const std::pair<std::vector<MimeData>, Texts> cases[] = {
        {{{"text/plain", utf16}}, {"http://a/"}},
        {{{"text/plain;charset=utf-8", "http://ü/"}, {"text/plain", "http://second/"}}, {"http://ü/"}},
        {{{"Text/HTML;charset=iso-8859-1", "<a href=\"http://a/\xFC\">"}}, {"http://a/ü"}},
        {{{"text/plain;charset=x-unheard-of", "http://a/"}, {"image/png", "http://b/"}}, {"http://a/"}},
        {{{"text/uri-list", "# a comment\r\nhttp://a/x\r\nfile:///tmp/y\r\n"}}, {"http://a/x"}},
        {{{"text/plain", "http://a/" + std::string(40 << 20, 'x')}}, {}},
    };
    for (const auto& [data, links] : cases)
        EXPECT_EQ(linksOf(data), links);
}

TEST(DraggedFiles, AreTakenOnlyIfTheyAreUnfinishedDownloads) {
    const auto drag = [](const std::string& list) {
        return pasteboardFromMimeData({{"text/uri-list", list}});
    };
    const auto suggested = [](const Pasteboard& board) {
        return Extractor::suggestedDragOperationForPboard(board);
    };
    const auto mixed = drag("FILE:///tmp/a.iso\r\nfile:///tmp/x%20y.trdownload/"
                            "\r\nfile:z.trdownload\r\nhttp://a/b.trdownload\r\n");
    EXPECT_EQ(suggested(mixed), DragOperation::copy);
    const auto bundles = Extractor::findTarvoIncompleteFilesInPasteboard(mixed);
    ASSERT_EQ(bundles.size(), 1u);
    EXPECT_EQ(bundles[0].localPath(), "/tmp/x y.trdownload/");
    EXPECT_EQ(suggested(drag("file:///tmp/a.iso\nhttp://a/")), DragOperation::none);
    EXPECT_EQ(suggested(drag("http://a/")), DragOperation::copy);
}

} // namespace tarvo
