#include "input/HTMLEntities.h"

#include <array>
#include <optional>

#include <QString>

#include "base/Log.h"

namespace tarvo {

namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;
constexpr qsizetype kLongestQuote = 40; // of what is no entity, in the log

struct NamedEntity {
    QLatin1String name;
    QChar character;
};

const std::array<NamedEntity, 5> kNamedEntities{{{QLatin1String("&amp;"), u'&'},
                                                 {QLatin1String("&apos;"), u'\''},
                                                 {QLatin1String("&quot;"), u'"'},
                                                 {QLatin1String("&lt;"), u'<'},
                                                 {QLatin1String("&gt;"), u'>'}}};

int digitOf(QChar character, int base) {
    const char16_t code = character.unicode();
    int digit = -1;
    if (code >= u'0' && code <= u'9')
        digit = code - u'0';
    else if (code >= u'a' && code <= u'f')
        digit = code - u'a' + 10;
    else if (code >= u'A' && code <= u'F')
        digit = code - u'A' + 10;
    return digit < base ? digit : -1;
}

/// Reads digits off the front of `text`; none, and nothing is read, where they name no character.
std::optional<std::uint32_t> takeCode(QStringView& text, int base) {
    std::uint32_t code = 0;
    qsizetype length = 0;
    for (; length < text.size() && digitOf(text[length], base) >= 0; ++length) {
        code = code * base + digitOf(text[length], base);
        if (code > kLastCodePoint)
            return std::nullopt;
    }
    text = text.sliced(length);
    return length == 0 ? std::nullopt : std::optional(code);
}

/// `text` begins with "&#": that entity, or what stands there instead of one, goes from it to `result`.
void takeNumericEntity(QStringView& text, QString& result) {
    text = text.sliced(2);
    const bool isHexadecimal = text.startsWith(u'x');
    if (isHexadecimal)
        text = text.sliced(1);
    if (const auto code = takeCode(text, isHexadecimal ? 16 : 10)) {
        for (const char16_t unit : QChar::fromUcs4(*code))
            result += unit;
        if (text.startsWith(u';'))
            text = text.sliced(1);
        return;
    }
    const QString x = isHexadecimal ? QStringLiteral("x") : QString();
    qsizetype length = 0;
    while (length < text.size() && !QStringView(u" \t\n\r;").contains(text[length]))
        ++length;
    const QStringView kept = text.first(length);
    Log::warning("Expected numeric character entity but got &#{}{};", x.toStdString(),
                 kept.first(qMin(length, kLongestQuote)).toUtf8().toStdString());
    result += QLatin1String("&#") + x;
    result += kept;
    text = text.sliced(length);
}

/// The same for any "&".
void takeEntity(QStringView& text, QString& result) {
    for (const auto& [name, character] : kNamedEntities) {
        if (text.startsWith(name)) {
            result += character;
            text = text.sliced(name.size());
            return;
        }
    }
    if (text.startsWith(QLatin1String("&#"))) {
        takeNumericEntity(text, result);
        return;
    }
    result += u'&';
    text = text.sliced(1);
}

/// A surrogate without its other half would leave as "?", which means something in an address.
void replaceLoneSurrogates(QString& text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isPair = text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate();
        if (isPair)
            ++i;
        else if (text[i].isSurrogate())
            text[i] = QChar::ReplacementCharacter;
    }
}

} // namespace

std::string stringByDecodingXMLEntities(std::string_view encoded) {
    const QString whole = QString::fromUtf8(encoded.data(), static_cast<qsizetype>(encoded.size()));
    QStringView text = whole;
    QString result;
    result.reserve(whole.size());
    while (!text.isEmpty()) {
        const qsizetype ampersand = text.indexOf(u'&');
        result += ampersand < 0 ? text : text.first(ampersand);
        text = ampersand < 0 ? QStringView() : text.sliced(ampersand);
        if (!text.isEmpty())
            takeEntity(text, result);
    }
    replaceLoneSurrogates(result);
    return result.toStdString();
}

} // namespace tarvo
