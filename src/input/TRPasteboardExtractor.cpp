#include "input/TRPasteboardExtractor.h"

#include <algorithm>
#include <unordered_set>

#include "base/Log.h"
#include "input/HTMLEntities.h"
#include "input/RTFLinks.h"
#include "input/TRStringURL.h"

namespace tarvo {

namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

/// Calls `visit` for each piece of `text` between two of `separators`.
template <class Visitor>
void forEachPiece(std::string_view text, std::string_view separators, Visitor visit) {
    for (std::size_t end = 0; end != kNowhere;) {
        end = text.find_first_of(separators);
        visit(text.substr(0, end));
        text.remove_prefix(end == kNowhere ? text.size() : end + 1);
    }
}

/// Where `word` (lower case) begins in `text` at or after `from`, in whatever case it is written.
std::size_t findWord(std::string_view text, std::string_view word, std::size_t from) {
    const auto sameLetter = [](char written, char lower) {
        return written == lower || (lower >= 'a' && lower <= 'z' && (written | 0x20) == lower);
    };
    const auto found = std::search(text.begin() + std::min(from, text.size()), text.end(), word.begin(),
                                   word.end(), sameLetter);
    return found == text.end() ? kNowhere : static_cast<std::size_t>(found - text.begin());
}

/// Browsers pass over line breaks and tabs in a link (WHATWG URL Standard, "URL parsing"). With them it would
/// be several lines, and so several links, in a text with one a line.
std::string onOneLine(std::string link) {
    std::erase_if(link, [](char c) { return c == '\n' || c == '\r' || c == '\t'; });
    return link;
}

/// The anchors of one line. A pattern matcher would try every "<a" with every "href" behind it; but what
/// the first one of each lacks, none behind it has, so nothing is looked at twice.
void appendLinksOfLine(std::string_view line, std::vector<std::string>& links) {
    constexpr std::string_view anchor = "<a";
    constexpr std::string_view attribute = "href=\"";
    for (std::size_t end = 0;;) {
        const std::size_t tag = findWord(line, anchor, end);
        const std::size_t href = tag == kNowhere ? kNowhere : findWord(line, attribute, tag + anchor.size());
        if (href == kNowhere)
            return;
        const std::size_t begin = href + attribute.size();
        const std::size_t quote = line.find('"', begin + 1); // a link has at least one character
        end = quote == kNowhere ? kNowhere : line.find('>', quote + 1);
        if (end == kNowhere)
            return;
        links.push_back(onOneLine(stringByDecodingXMLEntities(line.substr(begin, quote - begin))));
        ++end;
    }
}

/// Texts in the order in which they came first.
class OrderedSet {
public:
    void add(std::string text) {
        if (m_known.insert(text).second)
            m_texts.push_back(std::move(text));
    }

    void add(std::vector<std::string> texts) {
        for (auto& text : texts)
            add(std::move(text));
    }

    std::vector<std::string> take() { return std::move(m_texts); }

private:
    std::unordered_set<std::string> m_known;
    std::vector<std::string> m_texts;
};

/// Calls `visit` with the data of that type of each item.
template <class Visitor>
void forEachOf(const Pasteboard& pasteboard, std::string_view type, Visitor visit) {
    for (const auto& item : pasteboard.items) {
        if (const auto data = item.find(type); data != item.end())
            visit(std::string_view(data->second));
    }
}

void addLinksOfPlainText(std::string_view text, OrderedSet& links) {
    forEachPiece(text, "\n", [&](std::string_view line) {
        if (TRStringURL{std::string(line)}.isSupported())
            links.add(std::string(line));
        links.add(TRPasteboardExtractor::findURLsInHTML(line));
    });
}

} // namespace

const std::vector<std::string_view>& TRPasteboardExtractor::acceptedTypes() {
    static const std::vector<std::string_view> types{PasteboardType::kHtml, PasteboardType::kUrl,
                                                     PasteboardType::kRtf, PasteboardType::kPlainText,
                                                     PasteboardType::kFileUrl};
    return types;
}

DragOperation TRPasteboardExtractor::suggestedDragOperationForPboard(const Pasteboard& pasteboard) {
    bool isWanted = false;
    if (pasteboard.offers(PasteboardType::kFileUrl))
        isWanted = !findTarvoIncompleteFilesInPasteboard(pasteboard).empty();
    else
        isWanted = std::any_of(acceptedTypes().begin(), acceptedTypes().end(),
                               [&](std::string_view type) { return pasteboard.offers(type); });
    return isWanted ? DragOperation::copy : DragOperation::none;
}

std::vector<std::string> TRPasteboardExtractor::findURLsInPasteboard(const Pasteboard& pasteboard) {
    OrderedSet links;
    if (pasteboard.offers(PasteboardType::kHtml)) {
        Log::verbose("Found HTML");
        forEachOf(pasteboard, PasteboardType::kHtml,
                  [&](std::string_view html) { links.add(findURLsInHTML(html)); });
    }
    if (pasteboard.offers(PasteboardType::kRtf)) {
        Log::verbose("Found RTF");
        forEachOf(pasteboard, PasteboardType::kRtf,
                  [&](std::string_view rtf) { links.add(linksOfRTF(rtf)); });
    }
    if (pasteboard.offers(PasteboardType::kPlainText)) {
        Log::verbose("Found utf8 plain text");
        forEachOf(pasteboard, PasteboardType::kPlainText,
                  [&](std::string_view text) { addLinksOfPlainText(text, links); });
    }
    return links.take();
}

std::vector<std::string> TRPasteboardExtractor::findURLsInHTML(std::string_view html) {
    std::vector<std::string> links;
    forEachPiece(html, "\r\n", [&](std::string_view line) { appendLinksOfLine(line, links); });
    return links;
}

std::vector<Url> TRPasteboardExtractor::findTarvoIncompleteFilesInPasteboard(const Pasteboard& pasteboard) {
    std::vector<Url> bundles;
    forEachOf(pasteboard, PasteboardType::kFileUrl, [&](std::string_view text) {
        const auto url = Url::parse(text);
        const bool isFile = url && url->scheme() == "file" && url->localPath().starts_with('/');
        if (isFile && url->lastPathComponent().ends_with(".trdownload"))
            bundles.push_back(*url);
    });
    return bundles;
}

std::string TRPasteboardExtractor::textForPasting(std::string_view current,
                                                  const std::vector<std::string>& links) {
    std::string text;
    for (const auto& link : links)
        text += (text.empty() && current.ends_with('\n') ? "" : "\n") + link;
    return text;
}

} // namespace tarvo
