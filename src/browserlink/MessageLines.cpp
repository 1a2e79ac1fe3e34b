#include "browserlink/MessageLines.h"

#include <QJsonDocument>
#include <QJsonObject>

#include "browserlink/MessageFields.h"

namespace tarvo {

namespace {

/// Numbers in JSON are doubles (RFC 8259, section 6).
constexpr std::int64_t kMostNumber = std::int64_t{1} << 53;

class Writer {
public:
    explicit Writer(const char* name) { m_object[QLatin1String("message")] = QLatin1String(name); }

    void operator()(const char* key, bool value) { put(key, value); }

    void operator()(const char* key, std::int64_t value) { put(key, static_cast<qint64>(value)); }

    void operator()(const char* key, const std::string& value) { put(key, QString::fromStdString(value)); }

    /// What may be no UTF-8, such as a path: a character for each byte.
    void bytes(const char* key, const std::string& value) {
        put(key, QString::fromLatin1(value.data(), static_cast<qsizetype>(value.size())));
    }

    std::string line() const {
        return QJsonDocument(m_object).toJson(QJsonDocument::Compact).toStdString() + "\n";
    }

private:
    void put(const char* key, const QJsonValue& value) { m_object[QLatin1String(key)] = value; }

    QJsonObject m_object;
};

class Reader {
public:
    explicit Reader(const QJsonObject& object) : m_object(object) {}

    void operator()(const char* key, bool& value) {
        const QJsonValue found = take(key, QJsonValue::Bool);
        value = found.toBool();
    }

    void operator()(const char* key, std::int64_t& value) {
        value = take(key, QJsonValue::Double).toInteger(-1);
        m_isSound = m_isSound && value >= 0 && value <= kMostNumber;
    }

    void operator()(const char* key, std::string& value) {
        value = take(key, QJsonValue::String).toString().toStdString();
        m_isSound = m_isSound && value.size() <= kLongestBrowserText;
    }

    void bytes(const char* key, std::string& value) {
        const QString text = take(key, QJsonValue::String).toString();
        for (const QChar each : text)
            m_isSound = m_isSound && each.unicode() <= 0xff;
        value = text.toLatin1().toStdString();
        m_isSound = m_isSound && value.size() <= kLongestBrowserText;
    }

    bool isSound() const { return m_isSound; }

private:
    QJsonValue take(const char* key, QJsonValue::Type type) {
        const QJsonValue found = m_object.value(QLatin1String(key));
        m_isSound = m_isSound && found.type() == type;
        return found;
    }

    const QJsonObject& m_object;
    bool m_isSound = true;
};

template <class Message>
std::string writeLine(const Message& message) {
    return std::visit(
        [](auto each) {
            Writer writer(nameOf(each));
            describe(each, writer);
            return writer.line();
        },
        message);
}

/// Tries the messages one by one: their names differ.
template <class Messages, std::size_t index = 0>
std::optional<Messages> readObject(const QString& name, const QJsonObject& object) {
    if constexpr (index < std::variant_size_v<Messages>) {
        std::variant_alternative_t<index, Messages> message;
        if (name != QLatin1String(nameOf(message)))
            return readObject<Messages, index + 1>(name, object);
        Reader reader(object);
        describe(message, reader);
        return reader.isSound() ? std::optional<Messages>(std::move(message)) : std::nullopt;
    }
    return std::nullopt;
}

template <class Messages>
std::optional<Messages> readLine(std::string_view line) {
    if (line.size() > kLongestBrowserLine)
        return std::nullopt;
    const auto bytes = QByteArray::fromRawData(line.data(), static_cast<qsizetype>(line.size()));
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    return readObject<Messages>(object.value(QLatin1String("message")).toString(), object);
}

} // namespace

std::string lineOf(const ToBrowser& message) {
    return writeLine(message);
}

std::string lineOf(const FromBrowser& message) {
    return writeLine(message);
}

std::optional<ToBrowser> toBrowserOf(std::string_view line) {
    return readLine<ToBrowser>(line);
}

std::optional<FromBrowser> fromBrowserOf(std::string_view line) {
    return readLine<FromBrowser>(line);
}

std::string downloadFile(std::string_view stem, std::int64_t download) {
    return std::string(stem) + "-" + std::to_string(download) + ".part";
}

} // namespace tarvo
