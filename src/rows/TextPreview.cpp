#include "rows/TextPreview.h"

#include <algorithm>

#include <QByteArrayView>
#include <QStringDecoder>

namespace tarvo {

namespace {

constexpr qsizetype kLongestLine = 2'000; // characters

bool isControl(QChar c) {
    return c.category() == QChar::Other_Control && c != u'\t' && c != u'\n' && c != u'\r' && c != u'\f';
}

/// Binary data that happen to have no zero byte.
bool hasTooManyControls(std::string_view bytes) {
    const auto controls = std::count_if(bytes.begin(), bytes.end(), [](unsigned char c) {
        return c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != 0x1b;
    });
    return controls * 50 > static_cast<std::ptrdiff_t>(bytes.size());
}

QString decoded(QStringConverter::Encoding encoding, QByteArrayView bytes, bool& isSound) {
    QStringDecoder decoder(encoding); // keeps what is cut off at the end to itself
    QString text = decoder.decode(bytes);
    isSound = !decoder.hasError();
    return text;
}

std::optional<QString> unmarkedText(std::string_view bytes) {
    if (bytes.find('\0') != std::string_view::npos || hasTooManyControls(bytes))
        return std::nullopt;
    const QByteArrayView view(bytes.data(), static_cast<qsizetype>(bytes.size()));
    bool isSound = false;
    QString text = decoded(QStringConverter::Utf8, view, isSound);
    return isSound ? text : QString::fromLatin1(view);
}

QString forAView(const QString& text) {
    QString shown;
    shown.reserve(text.size());
    qsizetype line = 0;
    for (const QChar c : text) {
        line = c == u'\n' ? 0 : line + 1;
        if (line > kLongestLine && !c.isLowSurrogate()) {
            shown += u'\n';
            line = 1;
        }
        if (c != u'\r')
            shown += isControl(c) ? QChar(QChar::ReplacementCharacter) : c;
    }
    return shown;
}

} // namespace

std::optional<QString> textOf(std::string_view bytes) {
    const QByteArrayView view(bytes.data(), static_cast<qsizetype>(bytes.size()));
    const auto marked = QStringConverter::encodingForData(view);
    if (!marked) {
        const auto text = unmarkedText(bytes);
        return text ? std::optional(forAView(*text)) : std::nullopt;
    }
    bool isSound = false;
    const QString text = decoded(*marked, view, isSound);
    return isSound && !text.contains(QChar(u'\0')) ? std::optional(forAView(text)) : std::nullopt;
}

} // namespace tarvo
