#include "input/Pasteboard.h"

#include <algorithm>
#include <optional>

#include <QRegularExpression>
#include <QString>
#include <QStringDecoder>

#include "base/Log.h"

namespace tarvo {

namespace {

constexpr std::size_t kLongestData = 32u << 20; // the text of some ten thousand pages

/// A media type (RFC 9110, section 8.3.1), in lower case.
struct MediaType {
    QString name;
    QByteArray charset; // empty: not told
};

MediaType mediaTypeOf(const std::string& text) {
    static const QRegularExpression charset(QStringLiteral(R"re(;\s*charset\s*=\s*"?([^";\s]+))re"));
    const QString whole = QString::fromStdString(text).toLower();
    return {whole.section(u';', 0, 0).trimmed(), charset.match(whole).captured(1).toLatin1()};
}

std::string_view pasteboardTypeOf(const QString& name) {
    if (name == u"text/html")
        return PasteboardType::kHtml;
    if (name == u"text/plain")
        return PasteboardType::kPlainText;
    if (name == u"text/rtf" || name == u"application/rtf")
        return PasteboardType::kRtf;
    return {};
}

/// UTF-8 for text in the named character set. Where none is named, HTML and byte order marks tell; one that
/// is not known is read as UTF-8, for of an address every byte is ASCII.
std::string utf8Of(const std::string& bytes, const MediaType& type) {
    const QByteArrayView view(bytes.data(), static_cast<qsizetype>(bytes.size()));
    auto encoding = QStringConverter::encodingForName(type.charset.constData());
    if (!encoding && type.name == u"text/html")
        encoding = QStringConverter::encodingForHtml(view);
    if (!encoding)
        encoding = QStringConverter::encodingForData(view);
    QString text = QStringDecoder(encoding.value_or(QStringConverter::Utf8)).decode(view);
    // Text on its way between programs may end its lines as mail does (RFC 2046, section 4.1.1).
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    return text.toStdString();
}

/// An item for each line that is no comment (RFC 2483, section 5).
void addUriList(Pasteboard& pasteboard, const std::string& list) {
    const QByteArray bytes = QByteArray::fromRawData(list.data(), static_cast<qsizetype>(list.size()));
    for (const QByteArray& line : bytes.split('\n')) {
        const std::string uri = line.trimmed().toStdString();
        if (uri.empty() || uri.starts_with('#'))
            continue;
        const bool isFile =
            QString::fromStdString(uri).startsWith(QLatin1String("file:"), Qt::CaseInsensitive);
        PasteboardItem& item = pasteboard.items.emplace_back();
        item.emplace(isFile ? PasteboardType::kFileUrl : PasteboardType::kUrl, uri);
        if (!isFile)
            item.emplace(PasteboardType::kPlainText, uri);
    }
}

} // namespace

bool Pasteboard::offers(std::string_view type) const {
    return std::any_of(items.begin(), items.end(),
                       [&](const PasteboardItem& item) { return item.find(type) != item.end(); });
}

std::string Pasteboard::plainText() const {
    for (const auto& item : items) {
        if (const auto text = item.find(PasteboardType::kPlainText); text != item.end())
            return text->second;
    }
    return {};
}

Pasteboard pasteboardFromMimeData(const std::vector<MimeData>& data) {
    Pasteboard pasteboard;
    pasteboard.items.emplace_back();
    std::map<std::string_view, bool> isUtf8; // of the forms that the first item has
    for (const auto& [name, bytes] : data) {
        if (bytes.size() > kLongestData) {
            Log::warning("{} bytes of {} are too many to look for links in", bytes.size(), name);
            continue;
        }
        const MediaType mediaType = mediaTypeOf(name);
        if (mediaType.name == u"text/uri-list")
            addUriList(pasteboard, bytes);
        const std::string_view type = pasteboardTypeOf(mediaType.name);
        const bool saysUtf8 = mediaType.charset == "utf-8";
        const auto known = isUtf8.find(type);
        if (type.empty() || (known != isUtf8.end() && (known->second || !saysUtf8)))
            continue;
        isUtf8[type] = saysUtf8;
        pasteboard.items.front().insert_or_assign(
            std::string(type), type == PasteboardType::kRtf ? bytes : utf8Of(bytes, mediaType));
    }
    if (pasteboard.items.front().empty())
        pasteboard.items.erase(pasteboard.items.begin());
    return pasteboard;
}

} // namespace tarvo
