#include "base/SettingValue.h"

#include <charconv>
#include <limits>
#include <string>

#include <QMetaType>

namespace tarvo {

namespace {

/// A text with a comma that stands in no quotes is a list.
bool isOneText(const QVariant& value) {
    const int type = value.metaType().id();
    return type != QMetaType::QStringList && type != QMetaType::QVariantList && value.canConvert<QString>();
}

} // namespace

std::optional<std::int64_t> wholeNumber(const QVariant& value) {
    const std::string text = value.toString().toStdString();
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, problem] = std::from_chars(text.data(), end, number);
    if (problem == std::errc::result_out_of_range && stop == end)
        return text.starts_with('-') ? std::numeric_limits<std::int64_t>::min()
                                     : std::numeric_limits<std::int64_t>::max();
    return problem == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<bool> truthValue(const QVariant& value) {
    const std::string text = value.toString().toLower().toStdString();
    for (const auto* word : {"true", "yes", "on", "1"})
        if (text == word)
            return true;
    for (const auto* word : {"false", "no", "off", "0"})
        if (text == word)
            return false;
    return std::nullopt;
}

bool isReadableAs(const QVariant& value, const QVariant& model) {
    switch (model.metaType().id()) {
    case QMetaType::Bool:
        return truthValue(value).has_value();
    case QMetaType::Int:
    case QMetaType::LongLong:
        return wholeNumber(value).has_value();
    case QMetaType::QString:
    case QMetaType::QByteArray:
        return isOneText(value);
    case QMetaType::QVariantMap:
        return value.metaType().id() == QMetaType::QVariantMap;
    default:
        return true;
    }
}

bool readAlike(const QVariant& value, const QVariant& other) {
    return value == other || (value.isValid() && other.isValid() && isOneText(value) && isOneText(other) &&
                              value.toString() == other.toString());
}

} // namespace tarvo
