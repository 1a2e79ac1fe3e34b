#include "base/IniFile.h"

#include <cctype>
#include <cerrno>
#include <string_view>

#include <QDataStream>
#include <QIODevice>
#include <QMetaType>
#include <QSettings>
#include <spdlog/fmt/fmt.h>

namespace tarvo {

namespace {

constexpr bool isPlainInKey(char16_t code) {
    return (code >= u'a' && code <= u'z') || (code >= u'A' && code <= u'Z') ||
           (code >= u'0' && code <= u'9') || code == u'_' || code == u'-' || code == u'.';
}

std::string escapedKey(const QString& key) {
    std::string escaped;
    for (const QChar character : key) {
        const char16_t code = character.unicode();
        if (code == u'/')
            escaped += '\\';
        else if (isPlainInKey(code))
            escaped += static_cast<char>(code);
        else
            escaped += code <= 0xFF ? fmt::format("%{:02X}", unsigned{code})
                                    : fmt::format("%U{:04X}", unsigned{code});
    }
    return escaped;
}

/// Between quotes, so that no comma, semicolon or space at an end means anything.
void appendQuoted(std::string& text, const QString& value) {
    constexpr std::string_view digits = "0123456789abcdef";
    bool afterNumber = false; // where a digit would be read as part of it
    text += '"';
    for (const QChar character : value) {
        const char16_t code = character.unicode();
        const bool isPlain = code >= u' ' && code <= u'~';
        if (isPlain && !(afterNumber && std::isxdigit(code))) {
            if (code == u'"' || code == u'\\')
                text += '\\';
            text += static_cast<char>(code);
            afterNumber = false;
            continue;
        }
        text += "\\x";
        for (int shift = code <= 0xFF ? 4 : 12; shift >= 0; shift -= 4)
            text += digits[(code >> shift) & 0xF];
        afterNumber = true;
    }
    text += '"';
}

/// The text of one value: QSettings knows other types than text by the word after "@".
QString valueText(const QVariant& value) {
    switch (value.metaType().id()) {
    case QMetaType::UnknownType:
        return QStringLiteral("@Invalid()");
    case QMetaType::QByteArray:
        return QStringLiteral("@ByteArray(") + QString::fromLatin1(value.toByteArray()) + QLatin1Char(')');
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Bool:
    case QMetaType::Double: {
        const QString text = value.toString();
        return text.startsWith(QLatin1Char('@')) ? QLatin1Char('@') + text : text;
    }
    default: {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream.setVersion(QDataStream::Qt_4_0); // as QSettings reads them
        stream << value;
        return QStringLiteral("@Variant(") + QString::fromLatin1(bytes) + QLatin1Char(')');
    }
    }
}

std::string line(const QString& key, const QVariant& value) {
    std::string text = escapedKey(key) + '=';
    const int type = value.metaType().id();
    QVariantList elements;
    if (type == QMetaType::QStringList || type == QMetaType::QVariantList)
        elements = value.toList();
    if (elements.size() < 2) // a list of one would be read as its element
        elements = {value};
    for (qsizetype i = 0; i < elements.size(); ++i) {
        text += i == 0 ? "" : ", ";
        appendQuoted(text, valueText(elements[i]));
    }
    return text + '\n';
}

/// QSettings names keys without a name, of a section without a name, and such with several slashes, but then
/// looks for another key, without the slashes that it takes for needless.
bool isFound(const QString& key) {
    return !key.isEmpty() && !key.startsWith(QLatin1Char('/')) && !key.endsWith(QLatin1Char('/')) &&
           !key.contains(QLatin1String("//"));
}

} // namespace

Result<IniContent> readIniFile(const std::string& path) {
    const QSettings file(QString::fromStdString(path), QSettings::IniFormat);
    IniContent content;
    for (const QString& key : file.allKeys()) {
        if (isFound(key))
            content.values[key.toStdString()] = file.value(key);
        else
            content.isWhole = false;
    }
    if (file.status() == QSettings::AccessError)
        return failure(Error::posix(EACCES, "read", path));
    content.isWhole &= file.status() == QSettings::NoError;
    return content;
}

std::string iniText(const std::map<std::string, QVariant>& values) {
    std::map<QString, std::string> sections; // "" for what stands in none
    for (const auto& [name, value] : values) {
        const QString key = QString::fromStdString(name);
        const qsizetype slash = key.indexOf(QLatin1Char('/'));
        sections[key.left(qMax<qsizetype>(slash, 0))] += line(key.mid(slash + 1), value);
    }
    std::string text;
    for (const auto& [section, lines] : sections) {
        std::string title = section.isEmpty() ? "General" : escapedKey(section);
        if (section.compare(QLatin1String("general"), Qt::CaseInsensitive) == 0)
            title.insert(0, 1, '%'); // the plain word means: no section
        text += fmt::format("{}[{}]\n{}", text.empty() ? "" : "\n", title, lines);
    }
    return text;
}

} // namespace tarvo
