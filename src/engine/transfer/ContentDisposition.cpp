// The names in a Content-Disposition field.
#include "engine/transfer/Scout.h"

#include <QRegularExpression>
#include <QString>
#include <QUrl>

namespace tarvo {

namespace {

/// ext-value of RFC 8187, section 3.2.1: charset'language'percent-encoded. UTF-8 and ISO-8859-1 are read.
std::optional<std::string> decodeExtendedValue(const QString& value) {
    const QString charset = value.section(u'\'', 0, 0).toLower();
    const QString encoded = value.section(u'\'', 2);
    const QByteArray bytes = QByteArray::fromPercentEncoding(encoded.toUtf8());
    if (bytes.isEmpty())
        return std::nullopt;
    if (charset == u"utf-8")
        return QString::fromUtf8(bytes).toStdString(); // other bytes are no text
    if (charset == u"iso-8859-1")
        return QString::fromLatin1(bytes).toStdString();
    return std::nullopt;
}

} // namespace

std::optional<std::string> nameFromContentDisposition(const std::string& value) {
    static const QRegularExpression plain(QStringLiteral(R"re(filename\s?=\s?"?([^"]+)"?)re"));
    static const QRegularExpression extended(QStringLiteral(R"re(filename\*\s*=\s*"?([^";]+)"?)re"),
                                             QRegularExpression::CaseInsensitiveOption);
    const QString text = QString::fromStdString(value);
    if (const auto match = plain.match(text); match.hasMatch())
        return match.captured(1).toStdString();
    if (const auto match = extended.match(text); match.hasMatch())
        return decodeExtendedValue(match.captured(1).trimmed());
    return std::nullopt;
}

} // namespace tarvo
