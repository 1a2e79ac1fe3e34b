// Feeds HTML, as such and as each form of a pasteboard. In short text exactly those links are found that the
// regular expression finds which findURLsInHTML() stands for; links are single lines, each at most once.
#include "Fuzz.h"

#include <set>

#include <QRegularExpression>

#include "input/HTMLEntities.h"
#include "input/TRPasteboardExtractor.h"

using namespace tarvo;
using fuzz::require;

namespace {

constexpr std::size_t kShort = 512; // what the expression, of cubic effort, may be given

std::vector<std::string> linksByExpression(const std::string& html) {
    static const QRegularExpression anchor(QStringLiteral(R"re(<a[^\r\n]*?href="([^\r\n]+?)"[^\r\n]*?>)re"),
                                           QRegularExpression::CaseInsensitiveOption);
    std::vector<std::string> links;
    for (auto found = anchor.globalMatch(QString::fromStdString(html)); found.hasNext();) {
        std::string link = stringByDecodingXMLEntities(found.next().captured(1).toStdString());
        std::erase_if(link, [](char c) { return c == '\t' || c == '\r' || c == '\n'; });
        links.push_back(link);
    }
    return links;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto links = TRPasteboardExtractor::findURLsInHTML(text);
    require(size > kShort || links == linksByExpression(text), "the links are those of the expression");

    const auto board = pasteboardFromMimeData({{"text/html", text},
                                               {"text/plain", text},
                                               {"text/uri-list", text},
                                               {"text/plain;charset=" + text, text}});
    std::set<std::string> known;
    std::size_t total = 0;
    for (const auto& link : TRPasteboardExtractor::findURLsInPasteboard(board)) {
        require(link.find('\n') == std::string::npos, "a link is one line");
        require(known.insert(link).second, "a link comes once");
        total += link.size();
    }
    require(total <= 16 * size, "links are no longer than the text"); // three forms, bytes become U+FFFD
    for (const Url& bundle : TRPasteboardExtractor::findTarvoIncompleteFilesInPasteboard(board))
        require(bundle.localPath().starts_with('/'), "a bundle has an absolute path");
    return 0;
}
